// xcodebuild: projects are built and archives exported by Xcode alone.
#include <cstdio>

int main() {
    std::fputs(
        "xcodebuild: error: Xcode is not available on this system. Build and export on a Mac, then release "
        "the .app, .dmg or .zip here.\n",
        stderr);
    return 69; // EX_UNAVAILABLE
}
