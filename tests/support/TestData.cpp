#include <Support/TestData.h>

#include <Support/TemporaryFolder.h>

#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

namespace halvo::test {

std::filesystem::path testDataPath(std::string_view name) {
    return std::filesystem::path(HALVO_TEST_DATA) / name;
}

Bytes readTestData(std::string_view name) { return copyBytes(readText(testDataPath(name))); }

void expectGolden(std::string_view name, std::string_view actual) {
    const std::filesystem::path path = testDataPath(name);
    const char* accept = std::getenv("HALVO_ACCEPT");
    if (accept != nullptr && std::string_view(accept) == "1") {
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << actual;
        return;
    }
    ASSERT_TRUE(std::filesystem::exists(path)) << path << " is missing; HALVO_ACCEPT=1 writes it";
    EXPECT_EQ(readText(path), actual) << "differs from " << path;
}

} // namespace halvo::test
