#pragma once

#include <DSStore/RecordType.h>
#include <DSStore/Value.h>
#include <DSStore/ViewSettings.h>

namespace halvo::dsstore {

/// The name under which a folder keeps the records about itself.
inline constexpr const char* directoryName = ".";

/// One fact about one file of the folder. A store holds at most one for a filename and type.
struct Record {
    std::string filename{}; ///< UTF-8, as the folder lists it; "." for the folder itself
    RecordType type;
    Value value{};

    /// Filename and code joined, different for every record of a store.
    std::string id() const { return filename + type.code().stringValue(); }
    bool isDirectoryRecord() const { return filename == directoryName; }

    /// The payload of the well-known types; absent for another type and for a value that does not fit.
    std::optional<IconPosition> iconPosition() const;
    std::optional<WindowBounds> windowBounds() const;
    std::optional<BackgroundType> backgroundType() const;

    /// `DSStore.Record(filename: "Demo.app", type: Icon Location)`
    std::string description() const;

    bool operator==(const Record&) const = default;
};

} // namespace halvo::dsstore
