#include <HalvoDMG/ImageBuilder.h>

#include <Base/Text.h>
#include <DiskImage/DiskImageWriter.h>
#include <HalvoDMG/AliasBuilder.h>
#include <HalvoDMG/DSStoreWriter.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

constexpr const char* storeName = ".DS_Store";
constexpr const char* backgroundFolder = ".background";
constexpr const char* volumeIconName = ".VolumeIcon.icns";

std::optional<Date> sourceDate(const Environment& environment) {
    const std::optional<std::string> text = environment.nonEmpty("SOURCE_DATE_EPOCH");
    if (!text)
        return std::nullopt;
    const std::optional<std::int64_t> seconds = parseInteger(*text);
    constexpr std::int64_t lastSecond = 253402300799; // of the year 9999
    if (!seconds || *seconds < 0 || *seconds > lastSecond)
        throw Failure("SOURCE_DATE_EPOCH is not a number of seconds: " + *text);
    return Date(std::chrono::seconds(*seconds));
}

class DirectImageBuilder final : public ImageBuilder {
public:
    DirectImageBuilder(const Clock& clock, const Environment& environment, std::stop_token cancellation)
        : clock(clock), environment(environment), cancellation(std::move(cancellation)) {}

    void build(const ImageContents& contents, const fs::path& output, const Progress& progress) override {
        const Date now = clock.now();
        const std::string backgroundName = "background." + contents.background.extension;
        const auto file = [&](std::string name, Bytes content) {
            return VolumeItem{.name = std::move(name),
                              .kind = VolumeItem::Kind::file,
                              .permissions = 0644,
                              .date = now,
                              .content = std::move(content)};
        };
        VolumeItem backgrounds{.name = backgroundFolder, .date = now};
        backgrounds.children.push_back(file(backgroundName, contents.background.picture));
        std::vector<VolumeItem> items{
            readVolumeItem(contents.app, contents.appName),
            {.name = "Applications",
             .kind = VolumeItem::Kind::link,
             .date = now,
             .content = copyBytes("/Applications")},
            std::move(backgrounds),
            file(storeName, {}),
        };
        const auto& icon = contents.configuration.volumeIcon;
        if (icon)
            items.push_back(file(volumeIconName, readFile(icon->filePath())));

        VolumeContents volume({.name = contents.volumeName,
                               .creationDate = now,
                               .latestDate = sourceDate(environment),
                               .hasCustomIcon = icon.has_value()},
                              std::move(items));
        const std::string picture = std::string(backgroundFolder) + "/" + backgroundName;
        const CarbonAlias alias{.volumeName = storedVolumeText(contents.volumeName),
                                .volumeCreationDate = volume.creationDate(),
                                .fileName = backgroundName,
                                .fileCreationDate = volume.dateOf(now),
                                .parentID = volume.id(backgroundFolder),
                                .fileID = volume.id(picture),
                                .pathInVolume = "/" + picture,
                                // A mount point shows a '/' of the name as ':'.
                                .mountPoint = "/Volumes/" +
                                              replacingAll(storedVolumeText(contents.volumeName), "/", ":")};
        volume.setContent(storeName, finderLayoutFile(contents.configuration,
                                                      storedVolumeText(contents.appName), alias.encode()));
        if (!writeDiskImage(volume, output, progress, cancellation))
            throw DMGCreationError(DMGCreationError::OutputAlreadyExists{URL::file(output)});
    }

private:
    const Clock& clock;
    const Environment& environment;
    std::stop_token cancellation;
};

} // namespace

std::unique_ptr<ImageBuilder> makeDirectImageBuilder(const Clock& clock, const Environment& environment,
                                                     std::stop_token cancellation) {
    return std::make_unique<DirectImageBuilder>(clock, environment, std::move(cancellation));
}

} // namespace halvo
