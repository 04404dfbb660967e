#pragma once

#include <Base/Bytes.h>

#include <filesystem>
#include <string_view>

namespace halvo::test {

/// The path of a file below tests/data.
std::filesystem::path testDataPath(std::string_view name);
Bytes readTestData(std::string_view name);

/// Compares with the golden file of that name; with HALVO_ACCEPT=1 in the environment, rewrites it instead,
/// so that the difference is reviewed in the commit.
void expectGolden(std::string_view name, std::string_view actual);

} // namespace halvo::test
