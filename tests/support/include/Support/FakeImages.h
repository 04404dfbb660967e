#pragma once

#include <Platform/ImageServices.h>

#include <string>

namespace halvo::test {

/// Reads no pictures but those that begin with "icns".
class FakeImages final : public ImageServices {
public:
    std::optional<Bytes> renderPNG(ByteView image, unsigned size) override {
        if (!viewText(image).starts_with("icns"))
            return std::nullopt;
        return copyBytes("PNG of " + std::to_string(size));
    }
    std::optional<Bytes> renderPNG(const Drawing&, double, double, double) override { return std::nullopt; }
    bool canDraw(std::string_view) override { return false; }
    std::optional<ImageProperties> readProperties(ByteView) override { return std::nullopt; }
    std::optional<Bytes> withDensity(ByteView, PixelDensity) override { return std::nullopt; }
};

} // namespace halvo::test
