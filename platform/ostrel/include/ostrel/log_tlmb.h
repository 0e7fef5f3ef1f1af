#ifndef OSTREL_LOG_TLMB_H
#define OSTREL_LOG_TLMB_H

#include <time.h>

/// The flight-control library's blackbox logger: publishes the data manager's record, step by step, for the
/// system's blackbox logging service to write. Variables: the sensor inputs under "inputs.sensors", "index"
/// (the library's own count of steps, from 0) and the estimator's outputs under "outputs".

#ifdef __cplusplus
extern "C" {
#endif

/// Prepares the publication of the running instance's steps as the section `name`. `capacity` (steps) and
/// `rate` (Hz) size the target's shared memory; this layer hands each step on at once and needs neither.
///
///   0          ready for ostrel_log_tlmb_put()
///   -EINVAL    no name
///   -ENODEV    no library instance
///   -EALREADY  prepared before, and not ended by ostrel_log_tlmb_cleanup()
int ostrel_log_tlmb_init(const char* name, int capacity, int rate);

/// Publishes the step that was run last, stamped with `time`.
///
///   0         written, or of a section that the logging service's filter leaves out
///   -ENOENT   logging is disabled
///   -EINVAL   no time
///   -ENODEV   not prepared
///   -errno    the log can't be written (-EACCES, -ENOSPC, -ENOTDIR where its directory does not exist,
///   ...);
///             the same for every later step, until the logging service is given another log
int ostrel_log_tlmb_put(const struct timespec* time);

/// Ends the publication; the log is complete when it returns. 0, also when nothing was prepared, or the
/// error that kept the end of the log from being written.
int ostrel_log_tlmb_cleanup(void);

#ifdef __cplusplus
}
#endif

#endif
