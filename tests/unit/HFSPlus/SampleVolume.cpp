#include "SampleVolume.h"

#include <fcntl.h>

namespace halvo {

void SampleVolume::write(const hfsplus::VolumeContents& contents, const std::filesystem::path& image,
                         std::uint64_t size, const hfsplus::VolumeProperties& properties) {
    const Descriptor file(::open(image.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    contents.write(file.get(), 0, size == 0 ? contents.minimumSize(properties.name) : size, properties);
}

SampleVolume::SampleVolume(const std::filesystem::path& image)
    : file(::open(image.c_str(), O_RDONLY | O_CLOEXEC)),
      source(file.get(), 0, std::filesystem::file_size(image)) {}

} // namespace halvo
