#pragma once

#include <cstddef>

/// The layout of a legacy log, the one description of it. Parser, readers and writer all go by the names
/// below.
///
/// A legacy log is a text header, and behind it binary records back to back up to the end of the file:
///
///     one or more lines of preamble, ignored
///     -- Build infos
///     tool : ostrelLog
///     -- Navdata infos
///     type : continuous                     type : events
///     nentries : 139                        titles : land, take_off, ...
///     titles : index, inputs.sensors...     types : void, TYPES_FLOAT, ...
///     rate : 200                            nentries : 7
///     ro.hardware : quad-x                  argNb : 0, 1, ...
///     -- Data                               argList : none, altitude, ...
///                                           product : quad-x
///                                           -- Data
///
/// The header begins with the first line that contains "-- Build infos" and ends with the first line from
/// there on that contains "-- Data". The records begin at the byte behind that line's line feed. A header
/// line is "key : value, value, ...". All white space is removed, also inside names, and a value ends at a
/// second ':'. The first line of a key counts. Other keys and lines without ':' are ignored.
///
/// Every value of a record is an 8-byte little-endian IEEE-754 double. There is no padding, no count, no
/// checksum and no trailer.
///
/// A record of a continuous log has one value per title, in their order. "nentries" should be their number.
/// The step index is an ordinary column named "index".
///
/// A record of an event log is one call of an API that has A arguments, 8 x (3 + A) bytes, in the order of
/// the calls, so that steps never go back:
///
///     value 0   size of the whole record in bytes
///     value 1   replay step of the call
///     value 2   event id: the API's position in "titles", from 0
///     from 3    the A argument values, in the order of the API's names in "argList"
///
/// "argNb" has the number of arguments of each API. "argList" has the argument names of all APIs one after
/// the other; an API without arguments takes one slot there all the same. "types" must be there and is not
/// read. The hardware variant is "ro.hardware" in a continuous log and "product" in an event log.
namespace LegacyLayout {

constexpr const char* HEADER_START = "-- Build infos";
constexpr const char* NAVDATA_SECTION = "-- Navdata infos";
constexpr const char* DATA_START = "-- Data";

constexpr const char* TYPE = "type";
constexpr const char* TITLES = "titles";
constexpr const char* NENTRIES = "nentries";
constexpr const char* TYPES = "types";
constexpr const char* ARG_NB = "argNb";
constexpr const char* ARG_LIST = "argList";
constexpr const char* HARDWARE = "ro.hardware";
constexpr const char* PRODUCT = "product";

/// The value of "type" in an event log. Anything else, or no "type" at all, means a continuous log.
constexpr const char* EVENTS = "events";

/// What only the companion tool writes; a replay ignores it.
constexpr const char* TOOL = "tool";
constexpr const char* RATE = "rate";
constexpr const char* CONTINUOUS = "continuous";

/// Positions in the head of an event record.
enum HeadValue : std::size_t { RECORD_BYTES = 0, STEP = 1, EVENT_ID = 2, EVENT_HEAD_VALUES = 3 };

// Records are read and written as they lie in memory.
static_assert(sizeof(double) == 8 && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

}  // namespace LegacyLayout
