#pragma once

#include <Models/Release.h>
#include <Terminal/Table.h>

#include <string>
#include <vector>

namespace halvo {

/// "Published, beta, Phased, Critical": what a person should know of the state of a release.
std::string releaseStatus(const Release& release);

/// A row for each release, in their order. The identifier, which is copied, is never cut.
Table releaseTable(const std::vector<Release>& releases);

} // namespace halvo
