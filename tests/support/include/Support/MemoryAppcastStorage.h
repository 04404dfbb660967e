#pragma once

#include <HalvoCore/AppcastStorage.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace halvo::test {

/// Storage in memory below "https://dl.example.com/apps/". Notes each call as a line; the operation that is
/// told to fail does so before it changes anything.
class MemoryAppcastStorage final : public AppcastStorageProvider {
public:
    static URL baseURL() { return *URL::parse("https://dl.example.com"); }

    std::optional<Bytes> downloadAppcast() override {
        if (duringDownload)
            duringDownload();
        note("download feed");
        if (!feed)
            return std::nullopt;
        return copyBytes(*feed);
    }
    void uploadAppcast(ByteView bytes) override {
        note("upload feed");
        feed = viewText(bytes);
    }
    URL uploadBinary(const std::filesystem::path&, const std::string& filename,
                     const std::string& contentType) override {
        note("upload " + filename + " as " + contentType);
        return baseURL().appendingPath("apps/" + filename);
    }
    void copyToLatest(const std::string& source, const std::string& destination) override {
        note("copy " + source + " to " + destination);
    }
    void deleteBinary(const std::string& key) override { note("delete " + key); }
    void verify() override { note("verify"); }

    std::optional<std::string> feed{};
    std::string failingAt{}; ///< a call that begins like this throws AppcastStorageError
    std::function<void()> duringDownload{};
    std::vector<std::string> calls{};

private:
    void note(const std::string& call) {
        calls.push_back(call);
        if (!failingAt.empty() && call.starts_with(failingAt))
            throw AppcastStorageError(AppcastStorageError::UploadFailed{failingAt});
    }
};

} // namespace halvo::test
