#include <Toolbox/SignedObject.h>

#include <Base/PropertyList.h>
#include <Platform/Files.h>
#include <Toolbox/MachO.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <fmt/format.h>

namespace halvo {
namespace {

constexpr const char* unsignedText = "code object is not signed at all";
constexpr const char* noBundleText = "bundle format unrecognized, invalid, or unsuitable";

bool isThere(const std::filesystem::path& path) {
    std::error_code unreadable;
    return std::filesystem::exists(path, unreadable);
}

/// The folder that holds Info.plist: of an app, of a framework, of a shallow bundle.
std::filesystem::path infoFolder(const std::filesystem::path& bundle) {
    for (const char* folder : {"Contents", "Versions/Current/Resources", "."})
        if (isThere(bundle / folder / "Info.plist"))
            return bundle / folder;
    throw SignedObjectError(noBundleText);
}

std::filesystem::path mainExecutable(const std::filesystem::path& bundle) {
    const std::filesystem::path folder = infoFolder(bundle);
    std::string name;
    try {
        const PropertyList info = PropertyList::parse(readFile(folder / "Info.plist"));
        if (const auto* executable = info.find<std::string>("CFBundleExecutable"))
            name = *executable;
    } catch (const PropertyListError&) {
        throw SignedObjectError(noBundleText);
    }
    if (name.empty() || name.find('/') != std::string::npos)
        throw SignedObjectError(noBundleText);
    for (const auto& candidate : {folder / "MacOS" / name, folder.parent_path() / name, folder / name})
        if (isThere(candidate))
            return candidate;
    throw SignedObjectError(unsignedText);
}

std::string formatOf(const std::vector<MachOSlice>& slices) {
    if (slices.size() == 1)
        return "Mach-O thin (" + architectureName(slices.front().cpuType) + ")";
    std::string names;
    for (const MachOSlice& slice : slices)
        names += (names.empty() ? "" : " ") + architectureName(slice.cpuType);
    return "Mach-O universal (" + names + ")";
}

const MachOSlice& preferredSlice(const std::vector<MachOSlice>& slices) {
    for (const std::string_view wanted : {"arm64", "x86_64"})
        for (const MachOSlice& slice : slices)
            if (architectureName(slice.cpuType) == wanted)
                return slice;
    return slices.front();
}

SignedObject readFileObject(const std::filesystem::path& file, const std::string& formatPrefix) {
    const MappedFile mapped(file);
    SignedObject object{.executable = file};
    std::optional<ByteView> region;
    if (const auto slices = readMachO(mapped.bytes()); !slices.empty()) {
        region = findCodeSignature(preferredSlice(slices));
        object.format = formatPrefix + formatOf(slices);
    } else {
        region = findDiskImageSignature(mapped.bytes());
        object.format = "disk image";
    }
    if (!region)
        throw SignedObjectError(unsignedText);
    object.signature = readCodeSignature(*region);
    return object;
}

std::filesystem::path requirePath(const std::filesystem::path& path) {
    std::error_code failed;
    std::filesystem::path whole = std::filesystem::canonical(path, failed);
    if (failed)
        throw SignedObjectError(std::strerror(failed.value()));
    return whole;
}

std::string flagNames(std::uint32_t flags) {
    struct Name {
        std::uint32_t flag;
        const char* name;
    };
    static constexpr std::array<Name, 10> known{{{0x1, "host"},
                                                 {0x2, "adhoc"},
                                                 {0x100, "hard"},
                                                 {0x200, "kill"},
                                                 {0x400, "expires"},
                                                 {0x800, "restrict"},
                                                 {0x1000, "enforcement"},
                                                 {0x2000, "library-validation"},
                                                 {0x10000, "runtime"},
                                                 {0x20000, "linker-signed"}}};
    std::string names;
    for (const Name& entry : known)
        if ((flags & entry.flag) != 0)
            names += (names.empty() ? "" : ",") + std::string(entry.name);
    return names.empty() ? "none" : names;
}

/// Not the signed list of resources, which has the same name in another folder and is a property list.
bool isTicket(const std::filesystem::path& file) {
    if (!isThere(file))
        return false;
    const Bytes content = readFile(file);
    const std::string_view text = viewText(content);
    return !text.empty() && !text.starts_with("<?xml") && !text.starts_with("bplist");
}

} // namespace

SignedObject readSignedObject(const std::filesystem::path& path) {
    const std::filesystem::path whole = requirePath(path);
    if (!std::filesystem::is_directory(whole))
        return readFileObject(whole, "");
    const bool isApp = whole.extension() == ".app";
    return readFileObject(mainExecutable(whole), isApp ? "app bundle with " : "bundle with ");
}

std::string describeSignedObject(const SignedObject& object) {
    const CodeSignature& signature = object.signature;
    std::string text = fmt::format("Executable={}\nIdentifier={}\nFormat={}\n", object.executable.string(),
                                   signature.identifier, object.format);
    text += fmt::format("CodeDirectory v={:x} size={} flags=0x{:x}({}) hashes={}+{} location=embedded\n",
                        signature.version, signature.codeDirectorySize, signature.flags,
                        flagNames(signature.flags), signature.codeSlots, signature.specialSlots);
    if (signature.isAdHoc())
        text += "Signature=adhoc\n";
    else
        text += fmt::format("Signature size={}\n", signature.cmsSize);
    for (const std::string& authority : signature.authorities)
        text += fmt::format("Authority={}\n", authority);
    if (signature.hasTicket)
        text += "Notarization Ticket=stapled\n";
    return text + fmt::format("TeamIdentifier={}\n", signature.teamIdentifier.value_or("not set"));
}

bool hasStapledTicket(const std::filesystem::path& path) {
    const std::filesystem::path whole = requirePath(path);
    if (std::filesystem::is_directory(whole))
        return isTicket(infoFolder(whole) / "CodeResources");
    const MappedFile mapped(whole);
    if (!isDiskImage(mapped.bytes()))
        throw SignedObjectError("does not have a file type that can carry a ticket");
    const auto region = findDiskImageSignature(mapped.bytes());
    return region && holdsTicket(*region);
}

} // namespace halvo
