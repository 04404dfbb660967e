#include <HalvoCore/AppcastStorage.h>

namespace halvo {

std::string AppcastStorageError::describe(const Case& which) {
    struct Describer {
        std::string operator()(const CopyFailed& error) const { return "Copy failed: " + error.text; }
        std::string operator()(const DeleteFailed& error) const { return "Delete failed: " + error.text; }
        std::string operator()(const DirectoryCreationFailed& error) const {
            return "Failed to create directory: " + error.text;
        }
        std::string operator()(const DownloadFailed& error) const { return "Download failed: " + error.text; }
        std::string operator()(const FileNotFound& error) const {
            return "File not found: " + error.url.filePath().string();
        }
        std::string operator()(const UploadFailed& error) const { return "Upload failed: " + error.text; }
    };
    return std::visit(Describer(), which);
}

} // namespace halvo
