#pragma once

#include <string>

namespace halvo {

/// A certificate with its private key that codesign can sign with. Its hash identifies it.
struct CodesignIdentity {
    std::string hash{}; ///< SHA-1 of the certificate, hexadecimal
    std::string name{}; ///< as in "Developer ID Application: Jane Doe (ABCDE12345)"
    std::string teamID{};

    const std::string& id() const { return hash; }
    /// Whether what it signs may be distributed outside of the store.
    bool isDeveloperID() const { return name.starts_with("Developer ID Application:"); }

    static void fields(auto& identity, auto&& field) {
        field("hash", identity.hash);
        field("name", identity.name);
        field("teamID", identity.teamID);
    }

    bool operator==(const CodesignIdentity&) const = default;
};

} // namespace halvo
