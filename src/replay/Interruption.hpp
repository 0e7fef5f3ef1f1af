#pragma once

/// The signals that end a replay in order: the step under way runs to its end, the new log is completed,
/// the borrowed settings go back, and only then does the process die by the signal. Process-wide.
namespace Interruption {

/// From now on one SIGHUP, SIGINT or SIGTERM is noted; the one behind it ends the process at once. A signal
/// that the tool was started to ignore, as nohup does it, stays ignored. Called once.
void watch();

/// The same for the end of the replay, when its loop has ended: a first and a second signal, counted from
/// the start, only shorten the last sleep and do not cut the new log; a third one ends the process at once.
void watchEnd();

/// The signal that asks the replay to end; 0 when there was none.
int signal();

/// Ends the process by `signalNumber`, so that whoever started the tool, a shell above all, sees that this
/// signal was what ended it. To be called when everything is in order.
void raise(int signalNumber);

}  // namespace Interruption
