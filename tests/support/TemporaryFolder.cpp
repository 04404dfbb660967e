#include <Support/TemporaryFolder.h>

#include <Base/UUID.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace halvo::test {

TemporaryFolder::TemporaryFolder()
    : folder(std::filesystem::temp_directory_path() / ("halvo-test-" + UUID::random().string())) {
    std::filesystem::create_directories(folder);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::filesystem::path TemporaryFolder::write(std::string_view name, std::string_view content) const {
    const std::filesystem::path path = folder / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream stream(path, std::ios::binary);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!stream.flush())
        throw std::runtime_error("cannot write " + path.string());
    return path;
}

std::string readText(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
        throw std::runtime_error("cannot read " + path.string());
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

} // namespace halvo::test
