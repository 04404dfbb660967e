#include <HFSPlus/HFSPlusError.h>

#include <cstring>

namespace halvo::hfsplus {
namespace {

struct Describe {
    std::string operator()(const HFSPlusError::NotAVolume&) const {
        return "There is no HFS Plus volume in the image.";
    }
    std::string operator()(const HFSPlusError::Damaged& damaged) const {
        return "The HFS Plus volume is damaged: " + damaged.reason + ".";
    }
    std::string operator()(const HFSPlusError::Unsupported& unsupported) const {
        return "The volume has what is not supported here: " + unsupported.feature + ".";
    }
    std::string operator()(const HFSPlusError::UnsafeName& unsafe) const {
        return "The volume has an item of the name \"" + unsafe.name + "\", which no file may have here.";
    }
    std::string operator()(const HFSPlusError::TooLarge& large) const {
        return "The volume is too large: " + large.reason + ".";
    }
    std::string operator()(const HFSPlusError::ReadPastEnd& read) const {
        return "The image ends too early: there is nothing at byte " + std::to_string(read.offset) + ".";
    }
    std::string operator()(const HFSPlusError::ReadFailed& failed) const {
        return std::string("Could not read the image: ") + std::strerror(failed.code);
    }
    std::string operator()(const HFSPlusError::InvalidName& name) const {
        return "An HFS Plus volume cannot hold the name of \"" + name.path + "\": " + name.reason + ".";
    }
    std::string operator()(const HFSPlusError::EqualNames& names) const {
        return "\"" + names.first + "\" and \"" + names.second +
               "\" have one name for an HFS Plus volume, which ignores case. Rename one of them.";
    }
    std::string operator()(const HFSPlusError::SpecialFile& file) const {
        return "\"" + file.path + "\" is a socket, a pipe or a device, which a disk image does not hold.";
    }
    std::string operator()(const HFSPlusError::LinkTooLong& link) const {
        return "The symbolic link \"" + link.path + "\" leads to a path of more than 1024 bytes.";
    }
    std::string operator()(const HFSPlusError::Changed& changed) const {
        return "\"" + changed.path + "\" changed while the disk image was being written. Try again.";
    }
    std::string operator()(const HFSPlusError::NoSpace& space) const {
        return "The content needs a volume of " + std::to_string(space.needed) + " bytes, but it has only " +
               std::to_string(space.size) + ".";
    }
    std::string operator()(const HFSPlusError::WriteFailed& failed) const {
        return std::string("Could not write the image: ") + std::strerror(failed.code);
    }
};

} // namespace

std::string HFSPlusError::describe(const Case& problem) { return std::visit(Describe{}, problem); }

} // namespace halvo::hfsplus
