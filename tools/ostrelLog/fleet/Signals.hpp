#pragma once

namespace logtool {

/// From now on SIGHUP, SIGINT and SIGTERM are noted and end no process, so that a run can end in order. A
/// signal that was ignored stays ignored.
void noteSignals();

/// From now on they end the process again. One that was noted does so at once, so that whoever has started
/// the process sees what ended it.
void obeySignals();

/// The signal that came; 0 without one.
int notedSignal();

}  // namespace logtool
