#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace halvo::test {

/// A fresh folder for one test, removed with everything in it at the end.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::filesystem::path& path() const { return folder; }
    std::filesystem::path operator/(std::string_view name) const { return folder / name; }
    /// Writes a file below the folder, with the folders on its way, and gives its path.
    std::filesystem::path write(std::string_view name, std::string_view content) const;

private:
    std::filesystem::path folder;
};

std::string readText(const std::filesystem::path& path);

} // namespace halvo::test
