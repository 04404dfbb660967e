#include "LockedJSONFile.h"

#include <Platform/FileLock.h>
#include <Platform/Files.h>

#include <nlohmann/json.hpp>

#include <cerrno>

#include <sys/stat.h>

namespace halvo {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

/// Far deeper than any record of ours. Copying and writing a value recurse, so a file must not choose the
/// depth.
constexpr int maximumDepth = 100;

fs::path beside(const fs::path& file, const std::string& suffix) {
    return file.parent_path() / (file.filename().string() + suffix);
}

void makeFolders(const fs::path& folder) {
    if (folder.empty() || fs::is_directory(folder))
        return;
    makeFolders(folder.parent_path());
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        throw FileError("create", folder, errno);
}

/// What a name stands for: users keep their settings behind symbolic links, and those must stay. A link may
/// lead to a file that is not there yet.
fs::path followed(fs::path file) {
    constexpr int longestChain = 40; // like the system's
    for (int links = 0; links < longestChain && fs::is_symlink(fs::symlink_status(file)); ++links)
        file = file.parent_path() / fs::read_symlink(file); // an absolute one takes the place of it all
    return file;
}

/// Absent when the bytes are anything but one JSON object.
std::optional<json> parseObject(ByteView bytes) {
    bool tooDeep = false;
    const auto limitDepth = [&](int depth, json::parse_event_t, json&) {
        tooDeep = tooDeep || depth > maximumDepth;
        return !tooDeep;
    };
    json parsed = json::parse(bytes.begin(), bytes.end(), limitDepth, false);
    if (tooDeep || !parsed.is_object())
        return std::nullopt;
    return parsed;
}

/// Absent when the file is damaged; no file at all is an empty object.
std::optional<json> readObject(const fs::path& file) {
    try {
        return parseObject(readFile(file));
    } catch (const FileError& error) {
        if (error.code == ENOENT)
            return json::object();
        throw;
    }
}

} // namespace

LockedJSONFile::LockedJSONFile(fs::path file, const Clock& clock, WarningHandler warn)
    : file(std::move(file)), clock(clock), warn(std::move(warn)) {}

json LockedJSONFile::read() const {
    if (auto object = readObject(file))
        return *std::move(object);
    // Another process may have moved the damaged file aside and written a good one: look again under the
    // lock.
    const FileLock lock(beside(file, ".lock"));
    return readLocked();
}

void LockedJSONFile::change(const Edit& edit) const {
    makeFolders(file.parent_path());
    const FileLock lock(beside(file, ".lock"));
    json object = readLocked();
    if (edit(object))
        write(object);
}

json LockedJSONFile::readLocked() const {
    if (auto object = readObject(file))
        return *std::move(object);
    const fs::path kept = moveAside();
    warn(file.string() + " is damaged: it holds no JSON object. It was moved to " + kept.string() +
         ", and a new file takes its place.");
    return json::object();
}

fs::path LockedJSONFile::moveAside() const {
    const std::string suffix = ".damaged-" + formatTimestamp(clock.now());
    const fs::path damaged = followed(file);
    fs::path target = beside(damaged, suffix);
    for (int number = 2; fs::exists(fs::symlink_status(target)); ++number)
        target = beside(damaged, suffix + "-" + std::to_string(number));
    if (::rename(damaged.c_str(), target.c_str()) != 0)
        throw FileError("move aside", damaged, errno);
    return target;
}

void LockedJSONFile::write(const json& object) const {
    std::string text;
    try {
        text = object.dump(2) + "\n";
    } catch (const json::exception&) {
        // The library's own sentence would quote the value, which may be a secret.
        throw Failure("A value that is not UTF-8 text cannot be stored in " + file.string() + ".");
    }
    const fs::path target = followed(file);
    makeFolders(target.parent_path());
    writeFileAtomically(target, viewBytes(text), 0600);
}

} // namespace halvo
