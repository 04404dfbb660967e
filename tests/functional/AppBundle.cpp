#include "AppBundle.h"

#include <Base/Text.h>

#include <fstream>

namespace halvo::test {
namespace {

void write(const std::filesystem::path& file, const std::string& content) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
}

std::string escaped(const std::string& text) {
    return replacingAll(replacingAll(text, "&", "&amp;"), "<", "&lt;");
}

std::string propertyList(const std::map<std::string, std::string>& entries) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>\n";
    for (const auto& [key, value] : entries)
        text += "<key>" + escaped(key) + "</key><string>" + escaped(value) + "</string>\n";
    return text + "</dict></plist>\n";
}

} // namespace

AppBundle AppBundle::ofVersion(const std::string& version, const std::string& build) {
    AppBundle app;
    app.info["CFBundleShortVersionString"] = version;
    app.info["CFBundleVersion"] = build;
    return app;
}

std::filesystem::path AppBundle::writeTo(const std::filesystem::path& parent) const {
    const std::filesystem::path bundle = parent / folder;
    const std::filesystem::path contents = bundle / "Contents";
    std::filesystem::remove_all(bundle);
    write(contents / "Info.plist", propertyList(info));
    write(contents / "MacOS/Demo", "#!/bin/sh\necho demo\n" + std::string(50'000, 'x'));
    std::filesystem::permissions(contents / "MacOS/Demo", std::filesystem::perms(0755));
    write(contents / "Resources/AppIcon.icns", std::string("icns\0\0\0\x08", 8));
    const std::filesystem::path framework = contents / "Frameworks/Core.framework";
    write(framework / "Versions/A/Core", "library");
    std::filesystem::create_symlink("A", framework / "Versions/Current");
    std::filesystem::create_symlink("Versions/Current/Core", framework / "Core");
    return bundle;
}

} // namespace halvo::test
