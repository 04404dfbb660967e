#include <Platform/LoadedModule.h>

#include <Base/Failure.h>

#include <dlfcn.h>

namespace halvo {
namespace {

std::filesystem::path findModule(std::string_view name) {
    const std::filesystem::path folder = executablePath().parent_path();
    const std::filesystem::path relative =
        std::filesystem::path("libexec/halvo/modules") / (std::string(name) + ".so");
    for (const auto& base : {folder, folder.parent_path()})
        if (std::filesystem::exists(base / relative))
            return base / relative;
    throw Failure("Halvo's module " + std::string(name) + " is missing beside " + executablePath().string() +
                  ". Install Halvo again.");
}

} // namespace

std::filesystem::path executablePath() {
    std::error_code failed;
    return std::filesystem::read_symlink("/proc/self/exe", failed);
}

LoadedModule::LoadedModule(std::string_view name)
    : path(findModule(name)), handle(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE)) {
    if (handle == nullptr)
        throw Failure("Halvo's module could not be opened: " + std::string(::dlerror()));
}

void* LoadedModule::address(const char* symbol) const {
    void* found = ::dlsym(handle, symbol);
    if (found == nullptr)
        throw Failure("Halvo's module " + path.string() + " does not belong to this version of Halvo.");
    return found;
}

} // namespace halvo
