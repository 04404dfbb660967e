#include <Platform/FileKeychainItems.h>

#include "LockedJSONFile.h"

#include <Base/Base64.h>
#include <Base/Failure.h>
#include <Platform/Files.h>

#include <nlohmann/json.hpp>

namespace halvo {
namespace {

using nlohmann::json;

const char* domainName(KeychainDomain domain) {
    return domain == KeychainDomain::dataProtection ? "dataProtection" : "login";
}

/// The child of that name, null when there is none. Throws json::exception when `parent` is no object.
json* child(json* parent, const std::string& name) {
    if (parent == nullptr)
        return nullptr;
    json::object_t& children = parent->get_ref<json::object_t&>();
    const auto found = children.find(name);
    return found == children.end() ? nullptr : &found->second;
}

json* findEntry(json& root, const KeychainQuery& query) {
    json* entry = child(child(child(&root, domainName(query.domain)), query.service), query.account);
    if (query.protocol && entry != nullptr) {
        const json* protocol = child(entry, "protocol");
        if (protocol == nullptr || protocol->get_ref<const std::string&>() != *query.protocol)
            return nullptr;
    }
    return entry;
}

void setWhenPresent(json& entry, const char* key, const std::optional<std::string>& value) {
    if (value)
        entry[key] = *value;
}

std::optional<std::string> textOf(json& entry, const char* key) {
    const json* value = child(&entry, key);
    return value ? std::optional(value->get<std::string>()) : std::nullopt;
}

void store(json& entry, const KeychainItem& item) {
    entry["data"] = encodeBase64(item.data);
    setWhenPresent(entry, "label", item.attributes.label);
    setWhenPresent(entry, "description", item.attributes.description);
    setWhenPresent(entry, "comment", item.attributes.comment);
}

void closeToOthers(const std::filesystem::path& folder) {
    std::error_code failed;
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all, failed);
    if (failed)
        throw FileError("protect", folder, failed.value());
}

/// Turns what an operation throws into its status.
template<typename Operation>
KeychainStatus statusOf(const LockedJSONFile& file, Operation operation) {
    try {
        return operation();
    } catch (const json::exception&) { // the library's sentence could quote a secret
        return KeychainStatus::decode;
    } catch (const Failure& failure) {
        file.warnAbout(failure.description());
        return KeychainStatus::ioError;
    }
}

/// Edits the file through `operation`, which gives a status and is written back when that is success.
template<typename Operation>
KeychainStatus changeFile(const LockedJSONFile& file, Operation operation) {
    return statusOf(file, [&] {
        KeychainStatus status = KeychainStatus::success;
        file.change([&](json& root) {
            status = operation(root);
            if (status != KeychainStatus::success)
                return false;
            closeToOthers(file.path().parent_path());
            return true;
        });
        return status;
    });
}

} // namespace

FileKeychainItems::FileKeychainItems(const std::filesystem::path& file, const Clock& clock,
                                     WarningHandler warn)
    : file(std::make_unique<const LockedJSONFile>(file, clock, std::move(warn))) {}

FileKeychainItems::~FileKeychainItems() = default;

KeychainStatus FileKeychainItems::copy(const KeychainQuery& query, KeychainItem& item) {
    return statusOf(*file, [&] {
        json root = file->read();
        json* entry = findEntry(root, query);
        if (entry == nullptr)
            return KeychainStatus::itemNotFound;
        auto data = decodeBase64(entry->at("data").get_ref<const std::string&>());
        if (!data)
            return KeychainStatus::decode;
        item = {.data = *std::move(data),
                .attributes = {.label = textOf(*entry, "label"),
                               .description = textOf(*entry, "description"),
                               .comment = textOf(*entry, "comment")}};
        return KeychainStatus::success;
    });
}

KeychainStatus FileKeychainItems::exists(const KeychainQuery& query) {
    return statusOf(*file, [&] {
        json root = file->read();
        return findEntry(root, query) ? KeychainStatus::success : KeychainStatus::itemNotFound;
    });
}

KeychainStatus FileKeychainItems::add(const KeychainQuery& query, const KeychainItem& item) {
    return changeFile(*file, [&](json& root) {
        json& account = root[domainName(query.domain)][query.service][query.account];
        if (!account.is_null())
            return KeychainStatus::duplicateItem;
        setWhenPresent(account, "protocol", query.protocol);
        store(account, item);
        return KeychainStatus::success;
    });
}

KeychainStatus FileKeychainItems::update(const KeychainQuery& query, const KeychainItem& item) {
    return changeFile(*file, [&](json& root) {
        json* entry = findEntry(root, query);
        if (entry == nullptr)
            return KeychainStatus::itemNotFound;
        store(*entry, item);
        return KeychainStatus::success;
    });
}

KeychainStatus FileKeychainItems::remove(const KeychainQuery& query) {
    const KeychainStatus found = exists(query); // where there is no keychain yet, none is made
    if (found != KeychainStatus::success)
        return found;
    return changeFile(*file, [&](json& root) {
        if (findEntry(root, query) == nullptr)
            return KeychainStatus::itemNotFound;
        json& accounts = root[domainName(query.domain)][query.service];
        accounts.erase(query.account);
        if (accounts.empty())
            root[domainName(query.domain)].erase(query.service);
        return KeychainStatus::success;
    });
}

std::string FileKeychainItems::message(KeychainStatus status) const {
    if (status == KeychainStatus::ioError)
        return "The keychain file " + file->path().string() +
               " could not be read or written. Check its permissions and the free space on its disk.";
    if (status == KeychainStatus::decode)
        return "An entry of the keychain file " + file->path().string() +
               " is damaged. Correct or remove the entry.";
    return keychainMessage(status);
}

std::string FileKeychainItems::location() const {
    return "the file " + file->path().string() + " (not encrypted, readable by you alone)";
}

} // namespace halvo
