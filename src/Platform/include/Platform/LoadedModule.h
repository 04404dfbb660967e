#pragma once

#include <filesystem>
#include <string_view>

namespace halvo {

/// A shared library of this program's own, opened when first used, so that a command that does not need its
/// heavy dependencies starts without them. It stays open until the process ends.
///
/// Modules lie in libexec/halvo/modules beside the executable (`build/halvo`) or beside its folder
/// (`PREFIX/bin/halvo`).
class LoadedModule {
public:
    /// Opens `<name>.so`. Throws Failure that names the file when it is missing or cannot be opened.
    explicit LoadedModule(std::string_view name);

    /// The function of that name with C linkage. Throws Failure when the module has none.
    template<typename Function>
    Function* function(const char* symbol) const {
        return reinterpret_cast<Function*>(address(symbol));
    }

private:
    void* address(const char* symbol) const;

    std::filesystem::path path;
    void* handle = nullptr;
};

/// Where the running executable lies, links resolved; empty when that cannot be told.
std::filesystem::path executablePath();

} // namespace halvo
