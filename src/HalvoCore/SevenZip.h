#pragma once

#include <Platform/ProcessRunner.h>

#include <filesystem>
#include <stop_token>

namespace halvo {

/// Takes the property list and the icons of the app at the top of a disk image into a folder, and gives the
/// app's folder there. Nothing else of the image is unfolded. Images are not trusted, and links are left out.
///
/// Throws DMGService::DMGError (`MountFailed`, `NoAppFound`), FileError, ProcessError and CancelledError.
std::filesystem::path extractAppMetadata(const std::filesystem::path& image,
                                         const std::filesystem::path& folder, ProcessRunner& processes,
                                         const std::stop_token& cancellation);

} // namespace halvo
