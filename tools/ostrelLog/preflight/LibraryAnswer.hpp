#pragma once

/// The answer of the program that loads the flight-control library: entries of a word, a blank, a text and
/// a zero byte, since paths may hold line feeds. It goes to the file descriptor that the program gets as
/// its argument, since a library may print anything on the others.
namespace LibraryAnswer {

constexpr const char* PATH = "path";          ///< path of the library; missing when the loader took none
constexpr const char* API = "api";            ///< name of an API; its arguments follow
constexpr const char* ARGUMENT = "argument";  ///< name of an argument of the API before
constexpr const char* HARDWARE = "hardware";  ///< the property "ro.hardware", where it is set
constexpr const char* NO_MODE = "no-mode";    ///< the running mode can't be read
constexpr const char* NO_CONFIGURATION = "no-configuration";  ///< directory that does not exist
constexpr const char* END = "end";  ///< the last entry: without it the answer is not complete

}  // namespace LibraryAnswer
