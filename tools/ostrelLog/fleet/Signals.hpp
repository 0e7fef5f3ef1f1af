#pragma once

namespace logtool {

/// From now on SIGHUP, SIGINT and SIGTERM are noted and end no process, so that a run can end in order. A
/// signal that was ignored stays ignored.
void noteSignals();

/// The signal that came; 0 without one.
int notedSignal();

}  // namespace logtool
