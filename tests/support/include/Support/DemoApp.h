#pragma once

#include <Models/BundleInfo.h>
#include <Support/TemporaryFolder.h>

#include <string>

namespace halvo::test {

/// Writes the smallest bundle that can be released: "Demo" 1.2.3 (42), com.example.Demo.
inline std::filesystem::path writeDemoApp(const TemporaryFolder& folder,
                                          const std::string& path = "Demo.app") {
    folder.write(path + "/Contents/MacOS/Demo", "program");
    folder.write(path + "/Contents/Resources/Demo.icns", "picture");
    folder.write(path + "/Contents/Info.plist",
                 "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                 "<plist version=\"1.0\"><dict>"
                 "<key>CFBundleName</key><string>Demo</string>"
                 "<key>CFBundleIdentifier</key><string>com.example.Demo</string>"
                 "<key>CFBundleIconFile</key><string>Demo</string>"
                 "<key>CFBundleShortVersionString</key><string>1.2.3</string>"
                 "<key>CFBundleVersion</key><string>42</string>"
                 "<key>LSMinimumSystemVersion</key><string>13.0</string>"
                 "</dict></plist>\n");
    return folder / path;
}

/// The metadata of that bundle, as far as it does not depend on where it lies.
inline BundleInfo demoInfo(const URL& url = URL::file("/apps/Demo.app")) {
    return {.url = url,
            .name = "Demo",
            .identifier = "com.example.Demo",
            .minimumSystemVersion = "13.0",
            .version = 42,
            .versionString = "1.2.3"};
}

} // namespace halvo::test
