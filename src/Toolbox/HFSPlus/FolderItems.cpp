#include "FolderItems.h"

#include "Format.h"
#include "Names.h"

#include <Base/Unicode.h>
#include <Platform/Files.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <set>

#include <sys/stat.h>
#include <unistd.h>

namespace halvo::hfsplus {
namespace {

namespace fs = std::filesystem;
using Kind = FolderItem::Kind;

struct Scan {
    const fs::path& root;
    const VolumeContents::Options& options;

    std::string readTarget(const fs::path& path, const std::string& shown) const {
        std::string target(longestTarget + 1, '\0');
        const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
        if (length < 0)
            throw FileError("read", path, errno);
        target.resize(static_cast<std::size_t>(length));
        if (target.size() > longestTarget)
            throw HFSPlusError(HFSPlusError::LinkTooLong{shown});
        return target;
    }

    void readStatus(FolderItem& item) const {
        const fs::path path = item.path.empty() ? root : root / item.path;
        struct stat status {};
        // The root may be reached through a link; what is in it is taken as it is.
        if ((item.path.empty() ? ::stat(path.c_str(), &status) : ::lstat(path.c_str(), &status)) != 0)
            throw FileError("read", path, errno);
        const auto permissions = static_cast<std::uint16_t>(status.st_mode & 07777);
        if (S_ISDIR(status.st_mode)) {
            item.kind = Kind::folder;
            item.mode = modeFolder | permissions;
        } else if (S_ISREG(status.st_mode)) {
            item.kind = Kind::file;
            item.mode = modeFile | permissions;
            item.size = static_cast<std::uint64_t>(status.st_size);
        } else if (S_ISLNK(status.st_mode)) {
            item.kind = Kind::link;
            item.mode = modeLink | 0755;
            item.target = readTarget(path, item.path);
            item.size = item.target.size();
        } else {
            throw HFSPlusError(HFSPlusError::SpecialFile{item.path});
        }
        item.modified = status.st_mtim;
        Date date{std::chrono::seconds(std::clamp<std::int64_t>(status.st_mtim.tv_sec, -secondsBefore1970,
                                                                std::numeric_limits<std::uint32_t>::max()))};
        if (options.latestDate)
            date = std::min(date, *options.latestDate);
        item.date = volumeDate(date);
    }

    std::vector<FolderItem> readChildren(const FolderItem& folder, std::size_t index) const {
        std::vector<FolderItem> children;
        std::error_code failed;
        const fs::path path = folder.path.empty() ? root : root / folder.path;
        for (fs::directory_iterator entry(path, failed); !failed && entry != fs::directory_iterator();
             entry.increment(failed)) {
            FolderItem child;
            const std::string name = entry->path().filename().string();
            child.path = folder.path.empty() ? name : folder.path + "/" + name;
            child.parent = index;
            auto stored = storedName(name);
            if (!stored)
                throw HFSPlusError(HFSPlusError::InvalidName{repairedUTF8(child.path), "it is not UTF-8"});
            if (stored->size() > longestName)
                throw HFSPlusError(
                    HFSPlusError::InvalidName{child.path, "it has more than 255 UTF-16 characters"});
            child.name = *std::move(stored);
            readStatus(child);
            children.push_back(std::move(child));
        }
        if (failed)
            throw FileError("read", path, failed.value());
        std::sort(children.begin(), children.end(), [](const FolderItem& left, const FolderItem& right) {
            return compareNames(left.name, right.name) < 0;
        });
        const auto twin = std::adjacent_find(children.begin(), children.end(), [](auto& left, auto& right) {
            return compareNames(left.name, right.name) == 0;
        });
        if (twin != children.end())
            throw HFSPlusError(HFSPlusError::EqualNames{std::min(twin->path, std::next(twin)->path),
                                                        std::max(twin->path, std::next(twin)->path)});
        return children;
    }
};

void number(std::vector<FolderItem>& items, const CatalogIDs& known) {
    std::set<CatalogID> used;
    CatalogID highest = firstUserID - 1;
    for (const auto& [path, id] : known)
        highest = std::max(highest, id);
    items.front().id = rootFolderID;
    for (auto item = items.begin() + 1; item != items.end(); ++item) {
        const auto before = known.find(item->path);
        if (before != known.end() && before->second >= firstUserID && used.insert(before->second).second)
            item->id = before->second;
    }
    for (FolderItem& item : items) {
        if (item.id != 0)
            continue;
        // One more must remain for the volume's own record of the next number.
        if (highest >= std::numeric_limits<CatalogID>::max() - 1)
            throw HFSPlusError(HFSPlusError::TooLarge{"its numbers for items are used up"});
        item.id = ++highest;
    }
}

} // namespace

std::vector<FolderItem> readFolder(const fs::path& folder, const VolumeContents::Options& options) {
    const Scan scan{folder, options};
    std::vector<FolderItem> items(1);
    scan.readStatus(items.front());
    for (std::size_t index = 0; index < items.size(); ++index) {
        if (items[index].kind != Kind::folder) {
            if (index == 0)
                throw FileError("read", folder, ENOTDIR);
            continue;
        }
        std::vector<FolderItem> children = scan.readChildren(items[index], index);
        items[index].firstChild = items.size();
        items[index].childCount = children.size();
        std::move(children.begin(), children.end(), std::back_inserter(items));
    }
    number(items, options.knownIDs);
    return items;
}

std::uint32_t volumeDate(Date date) {
    const std::int64_t seconds =
        std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count() + secondsBefore1970;
    return static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(seconds, 0, std::numeric_limits<std::uint32_t>::max()));
}

} // namespace halvo::hfsplus
