#include <Platform/LoadedModule.h>

#include <Base/Failure.h>

#include <dlfcn.h>
#include <sys/auxv.h>

namespace halvo {
namespace {

std::filesystem::path findModule(std::string_view name) {
    const std::filesystem::path executable = executablePath();
    if (executable.empty()) // a path relative to nothing would be one of the working directory
        throw Failure(
            "Halvo cannot tell where it is installed, since /proc is not mounted. Start it by its full path.");
    const std::filesystem::path folder = executable.parent_path();
    const std::filesystem::path relative =
        std::filesystem::path("libexec/halvo/modules") / (std::string(name) + ".so");
    for (const auto& base : {folder, folder.parent_path()})
        if (std::filesystem::exists(base / relative))
            return base / relative;
    throw Failure("Halvo's module " + std::string(name) + " is missing beside " + executable.string() +
                  ". Install Halvo again.");
}

} // namespace

std::filesystem::path executablePath() {
    std::error_code failed;
    const std::filesystem::path linked = std::filesystem::read_symlink("/proc/self/exe", failed);
    if (!failed)
        return linked;
    // Without /proc: as the kernel was told to start it, when that leaves no doubt.
    const auto* started = reinterpret_cast<const char*>(::getauxval(AT_EXECFN));
    if (started == nullptr || *started != '/')
        return {};
    const std::filesystem::path canonical = std::filesystem::canonical(started, failed);
    return failed ? std::filesystem::path() : canonical;
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
