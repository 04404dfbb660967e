#include <HalvoCore/InfoPlistWriter.h>

#include <Base/PropertyList.h>
#include <Platform/Files.h>

#include <filesystem>

namespace halvo {
namespace {

namespace fs = std::filesystem;

PropertyList readList(const fs::path& path) {
    try {
        return PropertyList::parse(readFile(path));
    } catch (const FileError& error) {
        throw PlistWriteError(PlistWriteError::ReadFailed{error.description()});
    } catch (const PropertyListError& error) {
        throw PlistWriteError(PlistWriteError::ReadFailed{error.description()});
    }
}

} // namespace

void InfoPlistWriter::write(const std::map<std::string, std::string>& values, const URL& file) {
    std::error_code missing;
    const fs::path path = fs::canonical(file.filePath(), missing); // a rename would replace a link
    if (missing)
        throw PlistWriteError(PlistWriteError::FileNotFound());

    PropertyList list = readList(path);
    auto* dictionary = list.as<PropertyListDictionary>();
    if (dictionary == nullptr)
        throw PlistWriteError(PlistWriteError::UnexpectedFormat());
    for (const auto& [key, value] : values)
        dictionary->insert_or_assign(key, value);

    try {
        const auto permissions = static_cast<unsigned>(fs::status(path).permissions());
        writeFileAtomically(path, list.xml(), permissions);
    } catch (const FileError& error) {
        throw PlistWriteError(PlistWriteError::WriteFailed{error.description()});
    } catch (const PropertyListError& error) {
        throw PlistWriteError(PlistWriteError::WriteFailed{error.description()});
    } catch (const fs::filesystem_error& error) {
        throw PlistWriteError(PlistWriteError::WriteFailed{error.what()});
    }
}

} // namespace halvo
