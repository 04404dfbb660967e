#include "ImageToolsFake.h"

#include <Base/Text.h>
#include <Platform/Files.h>

namespace halvo::test {

namespace fs = std::filesystem;

ImageToolsFake::ImageToolsFake() {
    fs::create_directory(temporary);
    fs::create_directory(volume.parent_path());
    fs::create_symlink("MacOS/Demo", app / "Contents/Link");
    configuration.volumeIcon = URL::file(folder.write("icon.icns", "icon"));
}

URL ImageToolsFake::create(const std::optional<fs::path>& outputPath) {
    const std::optional<URL> outputURL = outputPath ? std::optional(URL::file(*outputPath)) : std::nullopt;
    const auto builder = makeToolImageBuilder(*this, volumes, clock, temporary, cancellation.get_token());
    return DMGCreator(*builder).create(URL::file(app), outputURL, configuration,
                                       {.picture = copyBytes("picture")});
}

std::string ImageToolsFake::failure() {
    try {
        create();
    } catch (const Failure& failure) {
        return failure.description();
    }
    return "it was made";
}

void ImageToolsFake::failAt(const std::string& tool, const std::string& verb, FakeAnswer answer) {
    failingTool = tool;
    failingVerb = verb;
    fault = std::move(answer);
}

std::vector<std::string> ImageToolsFake::leftovers() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(temporary))
        names.push_back(entry.path().filename());
    return names;
}

ProcessResult ImageToolsFake::run(const ProcessRequest& request) {
    Arguments command = request.arguments;
    command.insert(command.begin(), request.executable);
    commands.push_back(command);
    requests.push_back(request);
    const std::string answer = work(request);
    if (fault && request.executable == failingTool && request.arguments[0] == failingVerb)
        if (const auto failure = fault(request))
            return *failure;
    return {.standardOutput = answer};
}

std::string ImageToolsFake::work(const ProcessRequest& request) const {
    const std::string& verb = request.arguments[0];
    if (verb == "create") {
        writeNewFile(request.arguments.back(), viewBytes("image"));
        fs::copy(request.arguments[2], volume, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        fs::create_directory(volume / ".fseventsd");
    } else if (verb == "attach")
        return replacingAll(attachAnswer, "{}", volume.string());
    else if (verb == "convert")
        writeNewFile(request.arguments.back(), viewBytes("finished"));
    return request.arguments[1] == "-limits" ? limits : "";
}

} // namespace halvo::test
