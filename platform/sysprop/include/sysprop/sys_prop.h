#ifndef SYSPROP_SYS_PROP_H
#define SYSPROP_SYS_PROP_H

/// The property store: system-wide key and value texts.
///
/// This layer reads the text file named by the environment variable SYS_PROP_FILE, at every call: one
/// "key=value" a line, white space around either dropped, the last line of a key winning; lines that begin
/// with '#', and lines without '=', are comments. No such variable or no such file means that no property
/// is set.

/// Largest value, its terminating NUL included, in bytes: the size of a value buffer.
#define SYS_PROP_VALUE_MAX 92

#ifdef __cplusplus
extern "C" {
#endif

/// Reads the property `key` into `value`, a buffer of SYS_PROP_VALUE_MAX bytes of the caller's, or
/// `default_value` (null: the empty text) when the property is not set. A property set to the empty text is
/// set. Called at start-up by the tool, from one thread.
///
///   >= 0        length of the text in `value`
///   -EINVAL     no key or no buffer
///   -EMSGSIZE   the value, or the default, does not fit; nothing is cut
///   -EILSEQ     the value holds a NUL, so that no text buffer can hold it whole
///   -EFBIG      the file is larger than any property file (1 MiB)
///   -errno      the file exists but can't be read
///
/// After a failure `value` holds the default when that fits, else the empty text.
int sys_prop_get(const char* key, char* value, const char* default_value);

#ifdef __cplusplus
}
#endif

#endif
