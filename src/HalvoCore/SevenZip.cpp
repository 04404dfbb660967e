#include "SevenZip.h"

#include <Base/Text.h>
#include <HalvoCore/DMGService.h>
#include <Platform/Files.h>

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

namespace halvo {
namespace {

namespace fs = std::filesystem;

/// Of the metadata of one app, in bytes: what a real one does not reach.
constexpr std::int64_t largestMetadata = 256 << 20;

struct Item {
    std::string path{};
    bool isFolder = false;
    bool isLink = false;
    std::int64_t size = 0;
};

[[noreturn]] void fail(std::string reason) {
    throw DMGService::DMGError(DMGService::DMGError::MountFailed{std::move(reason)});
}

std::string run(Arguments arguments, ProcessRunner& processes, const std::stop_token& cancellation) {
    constexpr int warning = 1;
    // A password that nobody is there to give ends the wait for one.
    arguments.insert(arguments.begin() + 1, "-p");
    try {
        const ProcessResult result = processes.run({.executable = "7zz",
                                                    .arguments = std::move(arguments),
                                                    .environment = {{"LC_ALL", "C.UTF-8"}}, // names are UTF-8
                                                    .ownGroup = true,
                                                    .outputLimit = std::size_t{256} << 20,
                                                    .cancellation = cancellation});
        if (result.succeeded() || result.termination == Termination{.value = warning})
            return result.standardOutput;
        // What 7-Zip says of a file that is not an archive: "Cannot open the file as archive", "... as [Dmg]
        // archive".
        if ((result.standardOutput + result.standardError).find("open the file as ") != std::string::npos)
            fail("image not recognized");
        fail("7-Zip: " + result.errorText());
    } catch (const ProcessError& error) {
        if (std::holds_alternative<ProcessError::CannotStart>(error.which))
            fail("reading disk images needs 7-Zip here (7zz). Install the package 7zip.");
        throw;
    }
}

/// 7-Zip opens archives of many kinds, and archives in archives. Only a volume, in whatever disk images
/// consist of, is one.
void requireVolume(const std::vector<std::string>& types) {
    constexpr std::array<std::string_view, 4> containers{"Dmg", "GPT", "MBR", "APM"};
    constexpr std::array<std::string_view, 7> fileSystems{"APFS", "HFS", "FAT", "NTFS", "Iso", "Udf", "Ext"};
    const auto isVolume = [&](const std::string& type) { return std::ranges::count(fileSystems, type) > 0; };
    for (const std::string& type : types)
        if (!isVolume(type) && std::ranges::count(containers, type) == 0)
            fail("image not recognized");
    if (types.empty() || !isVolume(types.back()))
        fail("it holds no volume that can be read here");
}

/// The types of the archives, from the outermost to the one that is listed, then the items: paragraphs of
/// lines "Name = value".
std::vector<Item> readListing(const std::string& text) {
    std::vector<Item> items;
    std::vector<std::string> types;
    bool inItems = false;
    for (const std::string& line : split(text, '\n')) {
        const std::size_t sign = line.find(" = ");
        const std::string name = line.substr(0, sign);
        const std::string value = sign == std::string::npos ? "" : line.substr(sign + 3);
        if (!inItems) {
            inItems = line.starts_with("----------");
            if (name == "Type")
                types.push_back(value);
        } else if (name == "Path") {
            items.push_back({.path = value});
        } else if (!items.empty()) {
            Item& item = items.back();
            item.isFolder |= name == "Folder" && value == "+";
            item.isLink |= name == "Symbolic Link" && !value.empty();
            if (name == "Size")
                item.size = parseInteger(value).value_or(0);
        }
    }
    requireVolume(types);
    return items;
}

/// The first app by name at the top of the volume, which lies in a folder of its own when it has a name.
std::string findApp(const std::vector<Item>& items) {
    std::optional<std::string> found;
    for (const std::ptrdiff_t depth : {0, 1}) {
        for (const Item& item : items)
            if (item.isFolder && pathExtension(item.path) == "app" &&
                std::ranges::count(item.path, '/') == depth &&
                fs::path(item.path).lexically_normal() == item.path && (!found || item.path < *found))
                found = item.path;
        if (found)
            return *found;
    }
    throw DMGService::DMGError(DMGService::DMGError::NoAppFound());
}

bool isMetadata(std::string_view pathInApp) {
    return pathInApp == "Contents/Info.plist" ||
           (pathInApp.starts_with("Contents/Resources/") && pathInApp.ends_with(".icns"));
}

} // namespace

fs::path extractAppMetadata(const fs::path& image, const fs::path& folder, ProcessRunner& processes,
                            const std::stop_token& cancellation) {
    const std::vector<Item> items =
        readListing(run({"l", "-slt", "--", image.string()}, processes, cancellation));
    const std::string app = findApp(items);
    std::string wanted;
    std::int64_t size = 0;
    for (const Item& item : items) {
        if (!item.path.starts_with(app + "/"))
            continue;
        const std::string_view inApp = std::string_view(item.path).substr(app.size() + 1);
        if (item.isFolder && inApp == "Contents")
            fs::create_directories(folder / item.path);
        if (item.isFolder || item.isLink || !isMetadata(inApp))
            continue;
        wanted += item.path + "\n";
        size += item.size;
        if (item.size < 0 || size > largestMetadata)
            fail("the property list and the icons of its app are too large");
    }
    if (!wanted.empty()) {
        const TemporaryPath list(folder / "wanted");
        writeNewFile(list.path(), viewBytes(wanted));
        run({"x", "-y", "-bd", "-bso0", "-bsp0", "-spd", "-o" + folder.string(), "-i@" + list.path().string(),
             "--", image.string()},
            processes, cancellation);
    }
    return folder / app;
}

} // namespace halvo
