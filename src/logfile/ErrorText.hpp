#pragma once

/// The system's text for a negated errno, valid until the next call. Any integer has one, as a damaged log
/// may hold any.
const char* errorText(int result);
