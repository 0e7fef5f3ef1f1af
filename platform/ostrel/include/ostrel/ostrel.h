#ifndef OSTREL_OSTREL_H
#define OSTREL_OSTREL_H

/// The flight-control library's C interface: one process-wide instance, used from one thread.

#ifdef __cplusplus
extern "C" {
#endif

/// Creates the instance for a hardware variant and a running mode, and zeroes the data-manager record.
/// 0, -EINVAL without a variant or mode text, -EEXIST when there is an instance already.
int OSTREL_new(const char* variant, const char* mode);

/// Runs one control step on the sensors that stand in the data-manager record, and on the API calls made
/// since the last step. 0, or -ENODEV without an instance.
int OSTREL_process(void);

/// Destroys the instance; without one, does nothing. The data-manager record keeps its last contents.
void OSTREL_delete(void);

#ifdef __cplusplus
}
#endif

#endif
