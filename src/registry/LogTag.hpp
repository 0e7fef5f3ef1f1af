#pragma once

/// The tag of every line that the tool sends to the log service.
constexpr const char* LOG_TAG = "ostrelReplay";
