#pragma once

/// The signals that end a replay in order: the step under way runs to its end, the new log is completed,
/// the borrowed settings go back, and only then does the process die by the signal. Process-wide.
namespace Interruption {

/// From now on SIGINT and SIGTERM are noted; a second one ends the process at once. A signal that the tool
/// was started to ignore stays ignored.
void watch();

/// The signal that asks the replay to end; 0 when there was none.
int signal();

/// Ends the process by `signalNumber`, so that whoever started the tool, a shell above all, sees that this
/// signal was what ended it. To be called when everything is in order.
void raise(int signalNumber);

}  // namespace Interruption
