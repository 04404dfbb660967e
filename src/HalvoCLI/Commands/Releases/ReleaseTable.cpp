#include "Commands/Releases/ReleaseTable.h"

#include <Base/Text.h>

namespace halvo {
namespace {

TerminalText day(const std::optional<Date>& date) {
    return date ? TerminalText::muted(formatISO8601(*date).substr(0, 10)) : TerminalText();
}

} // namespace

std::string releaseStatus(const Release& release) {
    std::vector<std::string> parts{release.isPublished ? "Published" : "Draft"};
    if (release.channel)
        parts.push_back(*release.channel);
    if (release.isPhasedRollout)
        parts.emplace_back("Phased");
    if (release.isCritical)
        parts.emplace_back("Critical");
    return joined(parts, ", ");
}

Table releaseTable(const std::vector<Release>& releases) {
    Table table{.columns = {{.header = "Version", .overflow = ColumnOverflow::wraps},
                            {.header = "Status", .overflow = ColumnOverflow::wraps},
                            {.header = "Date"},
                            {.header = "ID", .overflow = ColumnOverflow::keeps}}};
    for (const Release& release : releases)
        table.rows.push_back({TerminalText::primary(release.versionDescription()), releaseStatus(release),
                              day(release.createdAt), TerminalText::secondary(release.id.string())});
    return table;
}

} // namespace halvo
