#include "SevenZip.h"

#include <Base/Text.h>
#include <DiskImage/DiskImageError.h>
#include <HFSPlus/VolumeReader.h>
#include <Platform/Files.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t listingLimit = 512u << 20;
constexpr std::string_view typeField = "Type = ";
constexpr std::string_view startOfItems = "----------";
/// What 7-Zip says of a file that is no archive: "Cannot open the file as archive", "... as [Dmg] archive".
constexpr std::string_view noArchive = "open the file as ";
/// What HFS+ volumes hold for macOS alone.
constexpr std::string_view privateFolders = "HFS+ Private";

struct Link {
    std::string path{};
    std::string target{};
};

struct Listing {
    std::vector<Link> links{};
    std::uint64_t items = 0;
    std::uint64_t totalSize = 0;
};

constexpr std::array<std::string_view, 4> containers{"Dmg", "GPT", "MBR", "APM"};
constexpr std::array<std::string_view, 7> fileSystems{"APFS", "HFS", "FAT", "NTFS", "Iso", "Udf", "Ext"};

bool isAmong(const auto& known, std::string_view type) {
    return std::find(known.begin(), known.end(), type) != known.end();
}

/// 7-Zip opens archives of many kinds, and archives in archives. Only a volume, in whatever disk images
/// consist of, is one.
void requireVolume(const std::vector<std::string>& types) {
    for (const std::string& type : types)
        if (!isAmong(containers, type) && !isAmong(fileSystems, type))
            throw DiskImageError(DiskImageError::NotRecognized{});
    if (types.empty() || !isAmong(fileSystems, types.back()))
        throw DiskImageError(DiskImageError::SevenZipFailed{"it finds no volume that it knows"});
}

/// The types of the archives, from the outermost to the one that is listed, then the items: paragraphs of
/// lines "Name = value".
Listing readListing(const std::string& text) {
    Listing listing;
    std::string path;
    std::vector<std::string> types;
    bool inItems = false;
    for (const std::string& line : split(text, '\n')) {
        if (!inItems) {
            if (line.starts_with(typeField))
                types.emplace_back(trimmed(std::string_view(line).substr(typeField.size())));
            inItems = line.starts_with(startOfItems);
            if (inItems)
                requireVolume(types);
            continue;
        }
        const auto value = [&](std::string_view name) -> std::optional<std::string> {
            if (!line.starts_with(name))
                return std::nullopt;
            return line.substr(name.size());
        };
        if (auto found = value("Path = ")) {
            path = *std::move(found);
            ++listing.items;
        } else if (const auto size = value("Size = ")) {
            listing.totalSize += static_cast<std::uint64_t>(parseInteger(*size).value_or(0));
        } else if (auto target = value("Symbolic Link = "); target && !target->empty()) {
            listing.links.push_back({path, *std::move(target)});
        }
        if (listing.totalSize > hfsplus::UnfoldLimits().totalSize ||
            listing.items > hfsplus::UnfoldLimits().items)
            throw DiskImageError(DiskImageError::TooLarge{hfsplus::UnfoldLimits().totalSize});
    }
    if (!inItems)
        requireVolume(types);
    return listing;
}

/// Makes a link where every folder on its way is a real one inside of `folder`; others came from no honest
/// image.
void makeLink(const fs::path& folder, const Link& link) {
    fs::path place = folder;
    const fs::path relative = fs::path(link.path).relative_path();
    for (const fs::path& name : relative.parent_path()) {
        place /= name;
        if (name == ".." || !fs::is_directory(fs::symlink_status(place)))
            throw DiskImageError(DiskImageError::Damaged{"the link " + link.path + " lies in no folder"});
    }
    place /= relative.filename();
    if (::symlink(link.target.c_str(), place.c_str()) != 0 && errno != EEXIST)
        throw FileError("create", place, errno);
}

/// Files that can be read, folders that can be changed, and no special permissions; nothing else may be
/// there.
void settlePermissions(const fs::path& folder) {
    constexpr auto special = fs::perms::set_uid | fs::perms::set_gid | fs::perms::sticky_bit;
    for (fs::recursive_directory_iterator entry(folder), end; entry != end; ++entry) {
        const fs::file_status status = entry->symlink_status();
        if (fs::is_symlink(status))
            continue;
        const auto needed = fs::is_directory(status) ? fs::perms::owner_all : fs::perms::owner_read;
        fs::permissions(entry->path(), (status.permissions() | needed) & ~special);
    }
}

std::vector<fs::path> entriesOf(const fs::path& folder) {
    std::vector<fs::path> entries;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
        if (entry.path().filename().string().find(privateFolders) == std::string::npos)
            entries.push_back(entry.path());
    return entries;
}

} // namespace

ProcessResult SevenZip::run(Arguments arguments, const std::string& reason) {
    for (const std::string& folder : split(environment.nonEmpty("PATH").value_or("/usr/bin"), ':')) {
        const fs::path program = fs::path(folder) / "7zz";
        if (!program.is_absolute() || ::access(program.c_str(), X_OK) != 0)
            continue;
        ProcessResult result = processes.run({.executable = program.string(),
                                              .arguments = std::move(arguments),
                                              .ownGroup = true,
                                              .outputLimit = listingLimit,
                                              .cancellation = cancellation});
        constexpr int warning = 1;
        if (result.succeeded() || result.termination == Termination{.value = warning})
            return result;
        if ((result.standardOutput + result.standardError).find(noArchive) != std::string::npos)
            throw DiskImageError(DiskImageError::NotRecognized{});
        throw DiskImageError(DiskImageError::SevenZipFailed{result.errorText()});
    }
    throw DiskImageError(DiskImageError::NeedsSevenZip{reason});
}

SevenZip::Unfolded SevenZip::unfold(const fs::path& image, const fs::path& target,
                                    const std::string& reason) {
    // A password that nobody is there to give ends the wait for one.
    const Listing listing =
        readListing(run({"l", "-slt", "-p", "--", image.string()}, reason).standardOutput);
    if (::mkdir(target.c_str(), 0700) != 0)
        throw FileError("create", target, errno);
    std::string excluded;
    for (const Link& link : listing.links)
        excluded += link.path + "\n";
    const fs::path list = target.string() + ".links";
    writeNewFile(list, viewBytes(excluded));
    run({"x", "-y", "-bd", "-bso0", "-bsp0", "-p", "-spd", "-x@" + list.string(), "-o" + target.string(),
         "--", image.string()},
        reason);
    removeQuietly(list);
    settlePermissions(target);
    for (const Link& link : listing.links)
        makeLink(target, link);

    // A volume with a name lies in a folder of that name.
    const std::vector<fs::path> entries = entriesOf(target);
    if (entries.size() == 1 && fs::is_directory(fs::symlink_status(entries[0])) &&
        entries[0].extension() != ".app") {
        for (fs::directory_iterator entry(entries[0]), end; entry != end; ++entry)
            if (entry->path().filename().string().find(privateFolders) != std::string::npos)
                removeQuietly(entry->path());
        return {entries[0], entries[0].filename().string()};
    }
    return {target, ""};
}

} // namespace halvo
