#include <DiskImage/DiskImageError.h>

#include <Base/Text.h>

#include <cerrno>
#include <cstring>

namespace halvo {
namespace {

struct Description {
    std::string operator()(const DiskImageError::System& error) const { return systemErrorText(error.code); }
    std::string operator()(const DiskImageError::NotRecognized&) const { return "image not recognized"; }
    std::string operator()(const DiskImageError::Damaged& error) const {
        return "image data corrupted: " + error.what;
    }
    std::string operator()(const DiskImageError::NeedsSevenZip& error) const {
        return error.what + " can only be read with 7-Zip: install the package 7zip, which has 7zz";
    }
    std::string operator()(const DiskImageError::SevenZipFailed& error) const {
        return "7zz could not unfold the image: " + error.output;
    }
    std::string operator()(const DiskImageError::TooLarge& error) const {
        return "the content is larger than " + formatByteCount(error.limit);
    }
    std::string operator()(const DiskImageError::BelowMinimum& error) const {
        return "the content needs at least " + std::to_string(error.sectors) + " sectors";
    }
    std::string operator()(const DiskImageError::Unsupported& error) const { return error.what; }
};

} // namespace

std::string systemErrorText(int code) { return code == EBUSY ? "Resource busy" : std::strerror(code); }

std::string DiskImageError::describe(const Case& which) { return std::visit(Description(), which); }

} // namespace halvo
