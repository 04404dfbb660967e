#pragma once

#include <filesystem>
#include <string>
#include <utility>

namespace halvo {

/// The one file to deliver. A file that this run made is removed with the object, and with it the folder that
/// was made for it alone; the user's own file never is.
class PreparedBinary {
public:
    static PreparedBinary ofUser(std::filesystem::path file) { return {std::move(file), false}; }
    static PreparedBinary made(std::filesystem::path file) { return {std::move(file), true}; }
    PreparedBinary(PreparedBinary&& other) noexcept
        : signature(std::move(other.signature)), location(std::move(other.location)),
          removes(std::exchange(other.removes, false)), own(other.own) {}
    PreparedBinary& operator=(PreparedBinary&&) = delete;
    ~PreparedBinary();

    const std::filesystem::path& file() const { return location; }
    bool isOwn() const { return own; }
    /// The file stays when the object goes.
    void keep() { removes = false; }

    /// Puts it into a folder as `name` with its own extension, in place of a file of that name, in one step:
    /// a file of this run's own making is moved, the user's is copied. Gives the new path. Throws FileError,
    /// and everything stays where it was.
    std::filesystem::path deliver(const std::filesystem::path& directory, const std::string& name) const;

    std::string signature{}; ///< Ed25519 over the file's bytes, in base64

private:
    PreparedBinary(std::filesystem::path file, bool own)
        : location(std::move(file)), removes(own), own(own) {}

    std::filesystem::path location;
    bool removes;
    bool own;
};

} // namespace halvo
