#include <Platform/AttachedVolumes.h>

#include <Platform/Files.h>

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace halvo {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

constexpr std::string_view devicePrefix = "disk";
/// As on a Mac, where the lower numbers belong to its own disks.
constexpr int firstDeviceNumber = 4;
constexpr std::string_view recordName = "record.json";
constexpr std::string_view lockName = "lock";
constexpr std::string_view volumesName = "volume";
constexpr std::size_t longestFileName = 255;

/// Makes the folder, or makes sure that it is the user's own and closed to others.
void requirePrivateFolder(const fs::path& folder) {
    if (::mkdir(folder.c_str(), 0700) == 0)
        return;
    struct stat status {};
    if (errno != EEXIST || ::lstat(folder.c_str(), &status) != 0)
        throw FileError("create", folder, errno);
    if (!S_ISDIR(status.st_mode) || status.st_uid != ::geteuid() || (status.st_mode & 077) != 0)
        throw FileError("use", folder, EPERM);
}

std::int64_t microseconds(Date date) { return date.time_since_epoch().count(); }
Date dateOf(const json& value) { return Date(std::chrono::microseconds(value.get<std::int64_t>())); }

std::string encode(const AttachedVolume& volume) {
    json ids = json::object();
    for (const auto& [inode, id] : volume.catalogIDs)
        ids[std::to_string(inode)] = id;
    json object{{"device", volume.device},
                {"imagePath", volume.imagePath.string()},
                {"mountPoint", volume.mountPoint.string()},
                {"mapHint", volume.mapHint},
                {"volumeHint", volume.volumeHint},
                {"partition", volume.partition},
                {"name", volume.name},
                {"creationDate", microseconds(volume.creationDate)},
                {"isWritable", volume.isWritable},
                {"hasCustomIcon", volume.hasCustomIcon},
                {"fingerprint", volume.fingerprint},
                {"catalogIDs", std::move(ids)},
                {"nextCatalogID", volume.nextCatalogID}};
    if (volume.latestDate)
        object["latestDate"] = microseconds(*volume.latestDate);
    try {
        return object.dump(1) + "\n";
    } catch (const json::exception&) {
        throw FileError("attach", volume.imagePath, EILSEQ); // a path that is not UTF-8
    }
}

AttachedVolume decode(ByteView text) {
    const json object = json::parse(text.begin(), text.end());
    AttachedVolume volume{.device = object.at("device"),
                          .imagePath = object.at("imagePath").get<std::string>(),
                          .mountPoint = object.at("mountPoint").get<std::string>(),
                          .mapHint = object.at("mapHint"),
                          .volumeHint = object.at("volumeHint"),
                          .partition = object.at("partition"),
                          .name = object.at("name"),
                          .creationDate = dateOf(object.at("creationDate")),
                          .isWritable = object.at("isWritable"),
                          .hasCustomIcon = object.at("hasCustomIcon"),
                          .fingerprint = object.at("fingerprint"),
                          .nextCatalogID = object.at("nextCatalogID")};
    if (object.contains("latestDate"))
        volume.latestDate = dateOf(object.at("latestDate"));
    for (const auto& [inode, id] : object.at("catalogIDs").items())
        volume.catalogIDs.emplace(std::stoull(inode), id.get<std::uint32_t>());
    return volume;
}

/// Absent when there is none, it is damaged, or its volume is gone.
std::optional<AttachedVolume> readRecord(const fs::path& deviceFolder) {
    try {
        AttachedVolume volume = decode(readFile(deviceFolder / recordName));
        if (fs::is_directory(volume.mountPoint))
            return volume;
    } catch (const FileError& error) {
        if (error.code != ENOENT)
            throw;
    } catch (const std::exception&) {
        // Only a file that something else wrote: it says nothing about any image.
    }
    return std::nullopt;
}

/// Inside, or the folder itself; both are absolute.
bool contains(const fs::path& folder, const fs::path& path) {
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}

fs::path normalized(const fs::path& path) {
    const fs::path normal = fs::absolute(path).lexically_normal();
    return normal.has_filename() ? normal : normal.parent_path();
}

std::string fileNameOf(const std::string& volumeName) {
    std::string name = repairedUTF8(volumeName);
    name.erase(std::remove(name.begin(), name.end(), '\0'), name.end());
    std::replace(name.begin(), name.end(), '/', ':');
    name.resize(std::min(name.size(), longestFileName));
    while (!isValidUTF8(name))
        name.pop_back();
    return name.empty() || name == "." || name == ".." ? "Untitled" : name;
}

int numberOf(const std::string& device) {
    if (!device.starts_with(devicePrefix))
        return -1;
    const auto number = parseInteger(device.substr(devicePrefix.size()));
    return number && *number >= 0 && *number < 1'000'000 ? static_cast<int>(*number) : -1;
}

} // namespace

AttachedVolumes AttachedVolumes::ofUser(const Environment& environment) {
    fs::path parent = environment.nonEmpty("TMPDIR").value_or("/tmp");
    if (!parent.is_absolute())
        parent = "/tmp";
    std::error_code ignored; // without the parent, making the folder in it fails and says so
    const fs::path real = fs::canonical(parent, ignored);
    return AttachedVolumes((ignored ? parent : real) / ("halvo-volumes-" + std::to_string(::geteuid())));
}

std::vector<std::string> AttachedVolumes::devices() const {
    std::vector<std::string> names;
    std::error_code none;
    for (fs::directory_iterator entry(folder, none), end; entry != end; entry.increment(none))
        if (std::string name = entry->path().filename().string(); numberOf(name) >= 0)
            names.push_back(std::move(name));
    std::sort(names.begin(), names.end(), [](const std::string& left, const std::string& right) {
        return numberOf(left) < numberOf(right);
    });
    return names;
}

std::vector<AttachedVolume> AttachedVolumes::list() const {
    const std::vector<std::string> names = devices();
    if (!names.empty())
        requirePrivateFolder(folder);
    std::vector<AttachedVolume> volumes;
    for (const std::string& device : names)
        if (auto volume = readRecord(folder / device))
            volumes.push_back(*std::move(volume));
    return volumes;
}

std::optional<AttachedVolume> AttachedVolumes::find(const fs::path& path) const {
    const fs::path wanted = normalized(path);
    if (!contains(folder, wanted))
        return std::nullopt;
    for (AttachedVolume& volume : list())
        if (contains(volume.mountPoint, wanted))
            return std::move(volume);
    return std::nullopt;
}

std::optional<AttachedVolume> AttachedVolumes::findDevice(const std::string& device) const {
    for (AttachedVolume& volume : list())
        if (volume.device == device || volume.partition == device)
            return std::move(volume);
    return std::nullopt;
}

std::optional<std::uint64_t> AttachedVolumes::fileID(const fs::path& path) const {
    const std::optional<AttachedVolume> volume = find(path);
    if (!volume || volume->nextCatalogID == 0)
        return std::nullopt;
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        throw FileError("read", path, errno);
    if (const auto known = volume->catalogIDs.find(status.st_ino); known != volume->catalogIDs.end())
        return known->second;
    std::optional<std::uint64_t> id;
    change(volume->device, [&](AttachedVolume& record) {
        const auto [entry, isNew] = record.catalogIDs.try_emplace(status.st_ino, record.nextCatalogID);
        record.nextCatalogID += isNew ? 1 : 0;
        id = entry->second;
    });
    return id;
}

std::optional<Date> AttachedVolumes::creationDate(const fs::path& path) const {
    const std::optional<AttachedVolume> volume = find(path);
    if (!volume)
        return std::nullopt;
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        throw FileError("read", path, errno);
    // The one date that is kept of a file is that of its content.
    const Date date = Date(std::chrono::seconds(status.st_mtim.tv_sec)) +
                      std::chrono::microseconds(status.st_mtim.tv_nsec / 1000);
    return std::min(date, volume->latestDate.value_or(date));
}

std::optional<AttachedVolume>
AttachedVolumes::change(const std::string& device, const std::function<void(AttachedVolume&)>& edit) const {
    const std::optional<Slot> slot = lock(device);
    std::optional<AttachedVolume> volume = slot ? slot->record() : std::nullopt;
    if (volume) {
        edit(*volume);
        slot->store(*volume);
    }
    return volume;
}

FileLock AttachedVolumes::lockRegistry() const {
    for (;;) {
        requirePrivateFolder(folder);
        try {
            return FileLock(folder / lockName);
        } catch (const FileError& error) {
            if (error.code != ENOENT) // or else the folder was removed since it was made
                throw;
        }
    }
}

AttachedVolumes::Slot AttachedVolumes::reserve() const {
    const FileLock registry = lockRegistry();
    for (const std::string& device : devices()) {
        if (readRecord(folder / device))
            continue;
        if (auto abandoned = FileLock::tryLock(folder / device / lockName))
            Slot(folder / device, *std::move(abandoned)).remove();
    }
    for (int number = firstDeviceNumber;; ++number) {
        const fs::path deviceFolder = folder / (std::string(devicePrefix) + std::to_string(number));
        if (::mkdir(deviceFolder.c_str(), 0700) == 0)
            return Slot(deviceFolder, FileLock(deviceFolder / lockName));
        if (errno != EEXIST)
            throw FileError("create", deviceFolder, errno);
    }
}

void AttachedVolumes::removeUnusedFolder() const {
    if (!fs::exists(folder))
        return;
    const FileLock registry = lockRegistry();
    if (!devices().empty())
        return;
    std::error_code ignored; // a folder that stays does no harm
    fs::remove(folder / lockName, ignored);
    fs::remove(folder, ignored);
}

std::optional<AttachedVolumes::Slot> AttachedVolumes::lock(const std::string& device) const {
    const fs::path deviceFolder = folder / device;
    if (!readRecord(deviceFolder))
        return std::nullopt;
    Slot slot(deviceFolder, FileLock(deviceFolder / lockName));
    if (!slot.record())
        return std::nullopt; // detached while this waited
    return slot;
}

AttachedVolumes::Slot::Slot(fs::path place, FileLock held)
    : folder(std::move(place)), name(folder.filename().string()), lock(std::move(held)) {}

fs::path AttachedVolumes::Slot::makeMountPoint(const std::string& volumeName) const {
    fs::path mountPoint = folder / volumesName / fileNameOf(volumeName);
    for (const fs::path& made : {mountPoint.parent_path(), mountPoint})
        if (::mkdir(made.c_str(), 0700) != 0)
            throw FileError("create", made, errno);
    return mountPoint;
}

std::optional<AttachedVolume> AttachedVolumes::Slot::record() const { return readRecord(folder); }

void AttachedVolumes::Slot::store(const AttachedVolume& volume) const {
    writeFileAtomically(folder / recordName, viewBytes(encode(volume)), 0600);
}

void AttachedVolumes::Slot::remove() const {
    std::error_code ignored;
    fs::remove(folder / recordName, ignored); // first: from here on it is not attached
    // Folders that nobody may write to keep what is in them.
    constexpr auto options = fs::directory_options::skip_permission_denied;
    for (fs::recursive_directory_iterator entry(folder, options, ignored), end; entry != end;
         entry.increment(ignored)) {
        const fs::file_status status = entry->symlink_status(ignored);
        if (fs::is_directory(status))
            fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
    }
    fs::remove_all(folder, ignored);
    if (fs::exists(folder))
        throw FileError("remove", folder, EBUSY);
}

} // namespace halvo
