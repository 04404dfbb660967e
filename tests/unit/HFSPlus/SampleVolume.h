#pragma once

#include <HFSPlus/VolumeContents.h>
#include <HFSPlus/VolumeReader.h>

#include <Platform/Descriptor.h>

#include <filesystem>

namespace halvo {

/// An image that is one volume and nothing else, beside the folder that it is made of.
struct SampleVolume {
    /// `size` 0 is the smallest that fits.
    static void write(const hfsplus::VolumeContents& contents, const std::filesystem::path& image,
                      std::uint64_t size = 0,
                      const hfsplus::VolumeProperties& properties = {
                          .name = "Sample",
                          .creationDate = Date(std::chrono::seconds(1'700'000'000)),
                          .identifier = 0x0102030405060708});
    explicit SampleVolume(const std::filesystem::path& image);

    Descriptor file;
    hfsplus::FileSource source;
};

} // namespace halvo
