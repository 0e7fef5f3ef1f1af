#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ostrelLog/Output.hpp"
#include "ostrelLog/report/FleetSummary.hpp"
#include "ostrelLog/report/RowFiles.hpp"

namespace logtool {

/// Writes a report as a page for a browser: the headline, the notes, the bins, and a table of the flights.
/// For changed flights whose exports were kept, it makes pages that compare these, in the folder
/// NAME.flights beside NAME.html, and links them. Exports that can't be read are reported; the table says
/// so in the place of the link.
///
/// Rows go to the page one by one, those that are not "same" first; neither they nor the pages are kept in
/// memory. A fault when a page can't be written: then what stood under the name of the report stays.
std::optional<Fault> writeFleetPage(const std::string& path, const std::vector<std::string>& notes,
                                    const FleetSummary& fleet, const RowFiles& rows);

}  // namespace logtool
