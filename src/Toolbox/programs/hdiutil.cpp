// hdiutil: makes, resizes, converts and unfolds disk images.
#include "HdiutilArguments.h"

#include <Base/PropertyList.h>
#include <DiskImage/DiskImages.h>
#include <HFSPlus/HFSPlusError.h>
#include <Platform/Clock.h>
#include <Platform/Descriptor.h>
#include <Platform/Files.h>
#include <Platform/Interruption.h>
#include <Platform/SystemProcessRunner.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

namespace halvo {
namespace {

constexpr int failed = 1;

const char* const usage = R"(Usage: hdiutil <verb> <options>
  create -srcfolder <folder> -volname <name> [-fs <file system>] [-format UDRW] <image>
  resize -limits <image>
  resize -size <size>[b|k|m|g|t] <image>
  attach [-readonly | -readwrite] [-plist] [-noverify] <image>
  detach <mount point or device> [-force]
  info -plist
  convert <image> -format ULMO|UDZO -o <image>

Volumes that are made are HFS+, whatever -fs says. Nothing is mounted: attach unfolds the volume into a folder
below halvo-volumes-<user> in TMPDIR, and detach folds what changed back into an image that was attached for
writing. Not kept are resource forks, extended attributes and owners. Volumes other than HFS+ and LZFSE
compression need 7zz (package 7zip), and are read-only.
)";

void print(const std::string& text) { std::fputs(text.c_str(), stdout); }

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

/// The lines of attach: columns of 20 and 32 characters, each before a tab.
std::string describeVolume(const AttachedVolume& volume) {
    const auto line = [](const std::string& device, const std::string& hint, const std::string& mountPoint) {
        return padded("/dev/" + device, 20) + "\t" + padded(hint, 31) + "\t" + mountPoint + "\n";
    };
    std::string text;
    if (!volume.mapHint.empty())
        text += line(volume.device, volume.mapHint, "");
    return text + line(volume.partition, volume.volumeHint, volume.mountPoint.string());
}

PropertyListArray systemEntities(const AttachedVolume& volume) {
    PropertyListArray entities;
    const auto entity = [](const std::string& device, const std::string& hint) {
        return PropertyListDictionary{
            {"content-hint", hint}, {"dev-entry", "/dev/" + device}, {"potentially-mountable", false}};
    };
    if (!volume.mapHint.empty())
        entities.emplace_back(entity(volume.device, volume.mapHint));
    PropertyListDictionary mounted = entity(volume.partition, volume.volumeHint);
    mounted.insert_or_assign("potentially-mountable", true);
    mounted.insert_or_assign("mount-point", volume.mountPoint.string());
    if (volume.volumeHint == "Apple_HFS")
        mounted.insert_or_assign("volume-kind", "hfs");
    entities.emplace_back(std::move(mounted));
    return entities;
}

void printPropertyList(PropertyListDictionary dictionary) {
    const Bytes text = PropertyList(std::move(dictionary)).xml();
    print(std::string(viewText(text)));
}

std::uint64_t parseSize(const std::string& text) {
    constexpr std::string_view units = "bkmgt";
    char* end = nullptr;
    errno = 0;
    const std::uint64_t number = std::strtoull(text.c_str(), &end, 10);
    const std::string unit = end;
    // Without a unit and with "b", sectors of 512 bytes count.
    const std::size_t index = unit.empty() ? 0 : units.find(unit);
    if (end == text.c_str() || text.starts_with('-') || errno != 0 || unit.size() > 1 ||
        index == std::string_view::npos)
        throw UsageError("invalid size: " + text);
    const unsigned shift = index == 0 ? 9 : static_cast<unsigned>(10 * index);
    if (number > (std::uint64_t{1} << 50) >> shift)
        throw UsageError("size is too large: " + text);
    return number << shift;
}

/// Lines of "PERCENT:12.345678" when they were asked for.
DiskImages::Progress puppetStrings(const HdiutilArguments& arguments) {
    if (!arguments.has("-puppetstrings"))
        return {};
    return [last = -1](std::uint64_t done, std::uint64_t total) mutable {
        const int percent =
            total == 0 ? 100
                       : static_cast<int>(100.0 * static_cast<double>(done) / static_cast<double>(total));
        if (percent == last)
            return;
        last = percent;
        std::printf("PERCENT:%d.000000\n", percent);
        std::fflush(stdout);
    };
}

void create(DiskImages& images, const HdiutilArguments& arguments) {
    const std::string format = arguments.find("-format").value_or("UDRW");
    if (format != "UDRW")
        throw UsageError("only images of format UDRW are created here; convert makes others of them");
    const std::string folder = arguments.value("-srcfolder");
    const std::string name =
        arguments.find("-volname").value_or(std::filesystem::path(folder).filename().string());
    print("created: " + images.create(folder, name, arguments.path(), puppetStrings(arguments)).string() +
          "\n");
}

void resize(DiskImages& images, const HdiutilArguments& arguments) {
    if (arguments.has("-limits")) {
        const DiskImages::Limits limits = images.limits(arguments.path());
        std::printf("%llu\t%llu\t%llu\n", static_cast<unsigned long long>(limits.minimum),
                    static_cast<unsigned long long>(limits.current),
                    static_cast<unsigned long long>(limits.maximum));
        return;
    }
    images.resize(arguments.path(), parseSize(arguments.value("-size")));
}

void attach(DiskImages& images, const HdiutilArguments& arguments) {
    const AttachedVolume volume =
        images.attach(arguments.path(), arguments.has("-readonly"), !arguments.has("-noverify"));
    if (arguments.has("-plist"))
        printPropertyList({{"system-entities", systemEntities(volume)}});
    else
        print(describeVolume(volume));
}

void detach(DiskImages& images, const HdiutilArguments& arguments) {
    print("\"" + images.detach(arguments.path()) + "\" ejected.\n");
}

void info(DiskImages& images, const HdiutilArguments& arguments) {
    if (!arguments.has("-plist"))
        throw UsageError("info needs -plist here");
    PropertyListArray entries;
    for (const AttachedVolume& volume : images.attached())
        entries.emplace_back(PropertyListDictionary{{"image-path", volume.imagePath.string()},
                                                    {"system-entities", systemEntities(volume)},
                                                    {"writeable", volume.isWritable}});
    printPropertyList({{"images", std::move(entries)}});
}

void convert(DiskImages& images, const HdiutilArguments& arguments) {
    const std::string format = arguments.value("-format");
    if (format != "ULMO" && format != "UDZO")
        throw UsageError("only the formats ULMO and UDZO are written here");
    const Compression compression = format == "ULMO" ? Compression::lzma : Compression::zlib;
    const auto output =
        images.convert(arguments.path(), arguments.value("-o"), compression, puppetStrings(arguments));
    print("created: " + output.string() + "\n");
}

using Verb = void (*)(DiskImages&, const HdiutilArguments&);

Verb findVerb(const std::string& name) {
    constexpr std::pair<std::string_view, Verb> verbs[] = {
        {"create", create}, {"resize", resize}, {"attach", attach}, {"mount", attach},
        {"detach", detach}, {"eject", detach},  {"info", info},     {"convert", convert}};
    for (const auto& [known, verb] : verbs)
        if (known == name)
            return verb;
    return nullptr;
}

/// The first line is hdiutil's own form; the second names the file, when it is not clear from the first.
void report(const std::string& verb, const std::exception& failure) {
    std::string reason = describe(failure);
    std::string detail;
    if (const auto* file = dynamic_cast<const FileError*>(&failure)) {
        detail = std::exchange(reason, systemErrorText(file->code));
    } else if (const auto* volume = dynamic_cast<const hfsplus::HFSPlusError*>(&failure)) {
        if (std::holds_alternative<hfsplus::HFSPlusError::NoSpace>(volume->which))
            detail = std::exchange(reason, systemErrorText(ENOSPC));
        else if (const auto* write = std::get_if<hfsplus::HFSPlusError::WriteFailed>(&volume->which))
            detail = std::exchange(reason, systemErrorText(write->code));
    }
    std::fprintf(stderr, "hdiutil: %s failed - %s\n", verb.c_str(), reason.c_str());
    if (!detail.empty())
        std::fprintf(stderr, "%s\n", detail.c_str());
}

int run(const std::string& verb, const Verb operation, const HdiutilArguments& arguments) {
    std::stop_source cancellation;
    const Interruption interruption(cancellation, {});
    const Environment environment = Environment::ofProcess();
    SystemProcessRunner processes(environment, ToolPaths(Environment(), ""));
    try {
        DiskImages images({.volumes = AttachedVolumes::ofUser(environment),
                           .processes = processes,
                           .environment = environment,
                           .now = SystemClock().now(),
                           .cancellation = cancellation.get_token()});
        operation(images, arguments);
        return std::fflush(stdout) == 0 ? 0 : failed;
    } catch (const CancelledError&) {
        return interruption.status().value_or(failed);
    } catch (const UsageError& error) {
        std::fprintf(stderr, "hdiutil: %s: %s\n", verb.c_str(), error.what());
    } catch (const std::exception& error) {
        report(verb, error);
    }
    return failed;
}

} // namespace
} // namespace halvo

int main(int count, char** values) {
    halvo::occupyStandardStreams();
    const std::vector<std::string> arguments(values + 1, values + count);
    const halvo::Verb verb = arguments.empty() ? nullptr : halvo::findVerb(arguments[0]);
    if (!verb) {
        const bool asked = !arguments.empty() &&
                           (arguments[0] == "help" || arguments[0] == "-help" || arguments[0] == "--help");
        std::fputs(halvo::usage, asked ? stdout : stderr);
        return asked ? 0 : halvo::failed;
    }
    try {
        return halvo::run(arguments[0], verb,
                          halvo::HdiutilArguments({arguments.begin() + 1, arguments.end()}));
    } catch (const halvo::UsageError& error) {
        std::fprintf(stderr, "hdiutil: %s: %s\n%s", arguments[0].c_str(), error.what(), halvo::usage);
        return halvo::failed;
    }
}
