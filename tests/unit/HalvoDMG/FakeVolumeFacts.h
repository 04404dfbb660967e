#pragma once

#include <Platform/Clock.h>
#include <Platform/Files.h>
#include <Platform/VolumeFacts.h>

#include <cerrno>
#include <map>

namespace halvo::test {

/// A volume of which everything is known beforehand. A file that is not listed cannot be read.
struct FakeVolumeFacts final : VolumeFacts {
    struct File {
        std::uint64_t id = 0;
        std::optional<Date> creationDate{};
    };

    Info volume{};
    std::map<std::filesystem::path, File> files{};

    Info info(const std::filesystem::path&) const override { return volume; }
    std::uint64_t fileID(const std::filesystem::path& path) const override { return find(path).id; }
    std::optional<Date> creationDate(const std::filesystem::path& path) const override {
        return find(path).creationDate;
    }

private:
    const File& find(const std::filesystem::path& path) const {
        const auto file = files.find(path);
        if (file == files.end())
            throw FileError("read", path, ENOENT);
        return file->second;
    }
};

/// A clock that stands still.
struct StoppedClock final : Clock {
    Date time{};
    Date now() const override { return time; }
    std::chrono::steady_clock::time_point steadyNow() const override { return {}; }
    void sleep(std::chrono::milliseconds, const std::stop_token&) override {}
};

} // namespace halvo::test
