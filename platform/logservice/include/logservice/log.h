#ifndef LOGSERVICE_LOG_H
#define LOGSERVICE_LOG_H

/// The log service: one line of text under a tag and a syslog priority.
///
/// Every admitted line goes to the system log and to standard error. There, when it is not a terminal, the
/// line is "<P>tag: text" with P the priority's digit, the form that systemd's journal parses; on a
/// terminal it is a readable line with the priority's letter, in colour.
///
/// The environment variable LOG_LEVEL, read at the first use, is the highest priority number admitted: 0 to
/// 7, or error, warning, info, debug. It is 6 (info) when unset; any other value counts as unset and is
/// reported by a warning line.

#ifdef __cplusplus
extern "C" {
#endif

/// Whether a line of `tag` at `priority` (a syslog priority, LOG_EMERG 0 to LOG_DEBUG 7) would be written.
/// For callers whose lines are costly to prepare; log_print() asks by itself. 1 or 0.
int log_admits(const char* tag, int priority);

/// Writes one line, formatted as printf does, only when the tag's level admits its priority. The text has
/// no line feed; control characters in it are shown as '?', so that a damaged name can't break or forge a
/// line. Leaves errno as it was. Failures to write are ignored: there is nowhere left to report them.
void log_print(const char* tag, int priority, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#endif
