#include "ostrelLog/preflight/LegacyLog.hpp"

#include <utility>

#include "logfile/ErrorText.hpp"
#include "logfile/LegacyLayout.hpp"

namespace logtool {

namespace {

/// Why a replay refuses the log, when it does.
std::optional<std::string> refusal(const LegacyFile& file, const HeaderText& text,
                                   const HeaderRemark* fault) {
  // Behind a header that is too long, a missing entry may still come.
  if (text.beyondLimit || (fault != nullptr && text.truncated)) {
    return std::string("its header has no \"") + LegacyLayout::DATA_START + "\" line within the limit of " +
           std::to_string(HeaderText::MAX_BYTES) + " bytes";
  }
  if (fault == nullptr) return std::nullopt;
  if (file.readError() < 0) return errorText(file.readError());
  return text.started ? fault->faultText() : "it has no header of a legacy log";
}

void addRemarks(const std::vector<HeaderRemark>& remarks, Findings& findings) {
  for (const HeaderRemark& remark : remarks) {
    if (remark.kind == HeaderRemark::EVENTS_FOR_CONTINUOUS) {
      findings.loss("event log", 1, "this is an event log: a replay takes its records for samples");
    } else {
      findings.loss("column count", 1,
                    "the header announces " + remark.text + " columns, but names another number");
    }
  }
}

}  // namespace

template <class Format>
std::optional<Fault> LegacyLog<Format>::open(const char* variantKey, Findings& findings) {
  if (const int result = file.open(findings.file); result < 0) {
    return Fault{findings.file, errorText(result)};
  }
  const HeaderText text = file.readHeader();
  const LegacyHeader header(text.text, text.preambleLines + 1);
  ParsedHeader<Format> parsed = Format::parse(header);
  if (auto reason = refusal(file, text, parsed.fault())) return Fault{findings.file, *reason};

  if (text.endDamaged) {
    findings.loss("header end", 1,
                  std::string("has a damaged \"") + LegacyLayout::DATA_START +
                      "\" line: the records behind it are lost or wrong");
  }
  if (file.readError() < 0) {
    findings.loss("unreadable", 1, std::string("can't be read to its end: ") + errorText(file.readError()));
  } else if (!text.complete) {
    findings.loss("no records", 1,
                  std::string("has no \"") + LegacyLayout::DATA_START + "\" line, so it holds no record");
  }
  if (text.preambleLines > HeaderText::MAX_SILENT_PREAMBLE) {
    findings.loss("preamble", text.preambleLines,
                  counted(text.preambleLines, "line") + " in front of the header");
  }
  addRemarks(parsed.remarks, findings);
  format = std::move(parsed.format);
  variant = header.firstValue(variantKey);
  return std::nullopt;
}

template class LegacyLog<ContinuousFormat>;
template class LegacyLog<EventFormat>;

}  // namespace logtool
