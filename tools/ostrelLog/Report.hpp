#pragma once

#include <string>

/// Writes "ostrelLog: WHERE: REASON" on standard error, in one line. Always false, as the result of an
/// operation that failed.
bool report(const std::string& where, const std::string& reason);

/// Hands on what was written to standard output. False, and reported, when not all of it arrived.
bool finishOutput();

/// A text of a log as a terminal may see it: with '?' in place of every control character.
std::string printable(std::string text);
