#pragma once

namespace logtool {

/// The exit statuses of all verbs. Scripts rely on these numbers. Each verb has names of its own for them,
/// so one number appears several times.
enum class ExitStatus {
  // every verb
  HELP = 0,   ///< the help text or the version was asked for and written
  USAGE = 2,  ///< wrong usage: an unknown option, a value out of range

  // make
  MADE = 0,
  NOT_MADE = 1,  ///< a file could not be written

  // info
  WHOLE = 0,       ///< every log is whole
  UNREADABLE = 1,  ///< at least one file could not be read, or is no log
  NOT_WHOLE = 3,   ///< every file could be read, at least one is cut or damaged

  // recover and cut
  SAVED = 0,          ///< written, and the log was whole
  NOT_SAVED = 1,      ///< nothing to save, or a file could not be read or written
  SAVED_IN_PART = 3,  ///< written, and part of the log was lost

  // check
  LOSSLESS = 0,
  CANNOT_RUN = 1,  ///< no replay of the logs would start
  LOSSES = 3,

  // export; like info, it uses NOT_WHOLE when the good part of a log was exported
  EXPORTED = 0,
  NOT_EXPORTED = 1,  ///< a log can't be read, holds nothing that was asked for, or the output failed

  // diff
  SAME = 0,
  DIFFERENT = 1,
  TROUBLE = 2,  ///< a log is unreadable, cut or damaged, or there is nothing to compare

  // plot
  PLOTTED = 0,
  NOT_PLOTTED = 1,  ///< a log could not be read, holds nothing to plot, or the page could not be written
  PLOTTED_IN_PART = 3,  ///< the page ends where a cut or damaged log does

  // regress also has those of diff
  UNTESTABLE = 125,  ///< trouble, as `git bisect run` wants to be told of it
};

}  // namespace logtool
