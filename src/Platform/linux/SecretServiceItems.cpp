#include "SecretServiceModule.h"

#include <algorithm>
#include <mutex>
#include <string_view>
#include <vector>

#include <libsecret/secret.h>

// How the two keychains look in the Secret Service, whose items carry text attributes beside their secret:
//   data protection   schema com.tarnworks.Halvo
//   login             any other schema, so that `secret-tool store service S account A` files such an item
// Both name an item by the attributes "service" and "account", and may have "protocol", "description" and
// "comment".
namespace halvo {
namespace {

constexpr const char* ownSchema = "com.tarnworks.Halvo";
constexpr const char* genericSchema = "org.freedesktop.Secret.Generic";
constexpr const char* schemaAttribute = "xdg:schema";

struct Release {
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
    void operator()(SecretValue* value) const { secret_value_unref(value); }
};
template<typename Type>
using Owned = std::unique_ptr<Type, Release>;

/// Ends an operation with a status.
struct Refusal {
    KeychainStatus status;
};

KeychainStatus statusOf(const GError& error) {
    const auto is = [&](GQuark domain, int code) { return g_error_matches(&error, domain, code) != FALSE; };
    if (is(SECRET_ERROR, SECRET_ERROR_IS_LOCKED))
        return KeychainStatus::interactionNotAllowed;
    if (is(SECRET_ERROR, SECRET_ERROR_NO_SUCH_OBJECT) || is(G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_METHOD))
        return KeychainStatus::itemNotFound;
    if (is(G_IO_ERROR, G_IO_ERROR_CANCELLED))
        return KeychainStatus::userCanceled;
    if (is(G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED) || is(G_DBUS_ERROR, G_DBUS_ERROR_AUTH_FAILED))
        return KeychainStatus::authFailed;
    if (error.domain == G_DBUS_ERROR || error.domain == G_IO_ERROR || error.domain == G_SPAWN_ERROR)
        return KeychainStatus::notAvailable;
    return KeychainStatus::ioError;
}

/// Attributes by name, as libsecret takes them.
class Attributes {
public:
    Attributes() : table(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free)) {}
    explicit Attributes(SecretItem* item) : table(secret_item_get_attributes(item)) {}

    void set(const char* name, const std::string& value) {
        g_hash_table_replace(table.get(), g_strdup(name), g_strdup(value.c_str()));
    }
    void setWhenPresent(const char* name, const std::optional<std::string>& value) {
        if (value)
            set(name, *value);
    }
    std::optional<std::string> find(const char* name) const {
        const gpointer value = g_hash_table_lookup(table.get(), name);
        return value ? std::optional<std::string>(static_cast<const char*>(value)) : std::nullopt;
    }
    GHashTable* get() const { return table.get(); }

private:
    Owned<GHashTable> table;
};

Attributes attributesOf(const KeychainQuery& query) {
    Attributes attributes;
    attributes.set("service", query.service);
    attributes.set("account", query.account);
    attributes.setWhenPresent("protocol", query.protocol);
    return attributes;
}

Owned<SecretValue> secretOf(const KeychainItem& item) {
    const std::string_view text = viewText(item.data);
    return Owned<SecretValue>(
        secret_value_new(text.empty() ? "" : text.data(), static_cast<gssize>(text.size()), "text/plain"));
}

/// One operation on the service: its connection, and its failures turned into Refusal.
class Session {
public:
    explicit Session(const SecretServiceOptions& options)
        : options(options), cancellable(g_cancellable_new()),
          onStop(options.cancellation, [this] { g_cancellable_cancel(cancellable.get()); }) {
        const Owned<GDBusConnection> bus = owned(&g_bus_get_sync, G_BUS_TYPE_SESSION, cancellable.get());
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE); // a bus that goes must not end the program
        service = owned(&secret_service_get_sync, SECRET_SERVICE_OPEN_SESSION, cancellable.get());
    }

    /// The items of a query, unlocked, the one changed last in front.
    std::vector<Owned<SecretItem>> find(const KeychainQuery& query) {
        // A search in a locked collection may simply find nothing, so it is unlocked first.
        const Owned<SecretCollection> collection = defaultCollection();
        if (collection && secret_collection_get_locked(collection.get()))
            unlock(collection.get());

        auto items = search(query);
        std::vector<Owned<SecretItem>> locked; // in some other collection, with their attributes hidden
        for (auto& item : items)
            if (secret_item_get_locked(item.get()))
                locked.push_back(std::move(item));
        keepOnly(query.domain, items);
        if (items.empty() && !locked.empty()) {
            unlock(locked.front().get());
            items = search(query);
            keepOnly(query.domain, items);
        }
        std::sort(items.begin(), items.end(), [](const auto& left, const auto& right) {
            return secret_item_get_modified(left.get()) > secret_item_get_modified(right.get());
        });
        return items;
    }

    /// The first item of a query. Throws Refusal when there is none.
    Owned<SecretItem> get(const KeychainQuery& query) {
        auto items = find(query);
        if (items.empty())
            throw Refusal{KeychainStatus::itemNotFound};
        return std::move(items.front());
    }

    KeychainItem read(SecretItem* item) {
        call(&secret_item_load_secret_sync, item, cancellable.get());
        const Owned<SecretValue> secret(secret_item_get_secret(item));
        if (!secret)
            throw Refusal{KeychainStatus::decode};
        gsize length = 0;
        const char* const bytes = secret_value_get(secret.get(), &length);
        gchar* const label = secret_item_get_label(item);
        const Attributes attributes(item);
        KeychainItem read{.data = copyBytes({bytes, length}),
                          .attributes = {.description = attributes.find("description"),
                                         .comment = attributes.find("comment")}};
        if (label != nullptr && *label != '\0') // the service has no items without a label, only empty ones
            read.attributes.label = label;
        g_free(label);
        return read;
    }

    void create(const KeychainQuery& query, const KeychainItem& item) {
        Owned<SecretCollection> collection = defaultCollection();
        if (!collection)
            collection = createDefaultCollection();
        Attributes attributes = attributesOf(query);
        attributes.set(schemaAttribute,
                       query.domain == KeychainDomain::dataProtection ? ownSchema : genericSchema);
        attributes.setWhenPresent("description", item.attributes.description);
        attributes.setWhenPresent("comment", item.attributes.comment);
        const Owned<SecretItem> created =
            owned(&secret_item_create_sync, collection.get(), nullptr, attributes.get(),
                  item.attributes.label.value_or("").c_str(), secretOf(item).get(), SECRET_ITEM_CREATE_NONE,
                  cancellable.get());
    }

    void write(SecretItem* existing, const KeychainItem& item) {
        call(&secret_item_set_secret_sync, existing, secretOf(item).get(), cancellable.get());
        if (item.attributes.label)
            call(&secret_item_set_label_sync, existing, item.attributes.label->c_str(), cancellable.get());
        if (item.attributes.description || item.attributes.comment) {
            Attributes attributes(existing);
            attributes.setWhenPresent("description", item.attributes.description);
            attributes.setWhenPresent("comment", item.attributes.comment);
            call(&secret_item_set_attributes_sync, existing, nullptr, attributes.get(), cancellable.get());
        }
    }

    void erase(SecretItem* item) { call(&secret_item_delete_sync, item, cancellable.get()); }

private:
    /// Calls a function of GLib's form, whose last argument takes the error.
    template<typename Result, typename... Parameters, typename... Arguments>
    Result call(Result (*function)(Parameters...), Arguments... arguments) {
        GError* raw = nullptr;
        Result result = function(arguments..., &raw);
        const Owned<GError> error(raw);
        if (!error)
            return result;
        const KeychainStatus status = statusOf(*error);
        if (status == KeychainStatus::ioError || status == KeychainStatus::notAvailable)
            options.warn(std::string("The keyring service failed: ") + error->message);
        throw Refusal{status};
    }
    template<typename Result, typename... Parameters, typename... Arguments>
    Owned<Result> owned(Result* (*function)(Parameters...), Arguments... arguments) {
        return Owned<Result>(call(function, arguments...));
    }

    /// Null when the user has no keyring yet.
    Owned<SecretCollection> defaultCollection() {
        return owned(&secret_collection_for_alias_sync, service.get(), SECRET_COLLECTION_DEFAULT,
                     SECRET_COLLECTION_NONE, cancellable.get());
    }

    /// Asks the user for a password for it.
    Owned<SecretCollection> createDefaultCollection() {
        requirePrompt();
        try {
            return owned(&secret_collection_create_sync, service.get(), "Default keyring",
                         SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_CREATE_NONE, cancellable.get());
        } catch (const Refusal& refusal) {
            // After a dismissed prompt libsecret looks for the collection that was not made.
            if (refusal.status == KeychainStatus::itemNotFound)
                throw Refusal{KeychainStatus::userCanceled};
            throw;
        }
    }

    void requirePrompt() {
        if (!options.canPrompt)
            throw Refusal{KeychainStatus::interactionNotAllowed};
    }

    /// Asks the user for the password of a locked collection, or of the one that holds a locked item.
    void unlock(gpointer object) {
        requirePrompt();
        GList only{.data = object, .next = nullptr, .prev = nullptr};
        GList* unlocked = nullptr;
        const gint count =
            call(&secret_service_unlock_sync, service.get(), &only, cancellable.get(), &unlocked);
        g_list_free_full(unlocked, g_object_unref);
        if (count == 0) // the prompt was dismissed
            throw Refusal{KeychainStatus::userCanceled};
    }

    static void keepOnly(KeychainDomain domain, std::vector<Owned<SecretItem>>& items) {
        const bool own = domain == KeychainDomain::dataProtection;
        std::erase_if(items, [&](const Owned<SecretItem>& item) {
            return !item || secret_item_get_locked(item.get()) ||
                   (Attributes(item.get()).find(schemaAttribute) == ownSchema) != own;
        });
    }

    /// Every item with the attributes of a query, of either keychain, locked or not.
    std::vector<Owned<SecretItem>> search(const KeychainQuery& query) {
        GList* const found = call(&secret_service_search_sync, service.get(), nullptr,
                                  attributesOf(query).get(), SECRET_SEARCH_ALL, cancellable.get());
        std::vector<Owned<SecretItem>> items;
        for (GList* node = found; node != nullptr; node = node->next)
            items.emplace_back(static_cast<SecretItem*>(node->data));
        g_list_free(found);
        return items;
    }

    const SecretServiceOptions& options;
    Owned<GCancellable> cancellable;
    std::stop_callback<std::function<void()>> onStop;
    Owned<SecretService> service;
};

class SecretServiceItems final : public KeychainItems {
public:
    explicit SecretServiceItems(SecretServiceOptions options) : options(std::move(options)) {}

    KeychainStatus copy(const KeychainQuery& query, KeychainItem& item) override {
        return run([&](Session& session) { item = session.read(session.get(query).get()); });
    }

    KeychainStatus exists(const KeychainQuery& query) override {
        return run([&](Session& session) {
            if (session.find(query).empty())
                throw Refusal{KeychainStatus::itemNotFound};
        });
    }

    KeychainStatus add(const KeychainQuery& query, const KeychainItem& item) override {
        KeychainQuery anyProtocol = query;
        anyProtocol.protocol.reset();
        return run([&](Session& session) {
            if (!session.find(anyProtocol).empty()) // the service itself would keep both
                throw Refusal{KeychainStatus::duplicateItem};
            session.create(query, item);
        });
    }

    KeychainStatus update(const KeychainQuery& query, const KeychainItem& item) override {
        return run([&](Session& session) { session.write(session.get(query).get(), item); });
    }

    KeychainStatus remove(const KeychainQuery& query) override {
        return run([&](Session& session) {
            const auto items = session.find(query);
            if (items.empty())
                throw Refusal{KeychainStatus::itemNotFound};
            for (const auto& item : items)
                session.erase(item.get());
        });
    }

    std::string message(KeychainStatus status) const override {
        if (status == KeychainStatus::interactionNotAllowed)
            return "The login keyring is locked, or there is none yet, and without a desktop its password cannot be asked for. Unlock it, or set HALVO_KEYCHAIN=file to keep secrets in a file.";
        return keychainMessage(status);
    }

    std::string location() const override { return "the login keyring (Secret Service)"; }

    /// Success when the session bus can be reached and a service answers on it.
    KeychainStatus reach() {
        return run([](Session&) {});
    }

private:
    template<typename Operation>
    KeychainStatus run(Operation operation) {
        const std::lock_guard alone(
            mutex); // libsecret shares one connection, and two prompts at once confuse
        try {
            Session session(options);
            operation(session);
            return KeychainStatus::success;
        } catch (const Refusal& refusal) {
            return refusal.status;
        }
    }

    SecretServiceOptions options;
    std::mutex mutex;
};

} // namespace
} // namespace halvo

extern "C" halvo::KeychainItems* halvoMakeSecretServiceItems(const halvo::SecretServiceOptions& options) {
    halvo::SecretServiceOptions quiet = options;
    quiet.warn = [](const std::string&) {}; // where nothing answers, the file takes its place without a word
    if (halvo::SecretServiceItems(quiet).reach() != halvo::KeychainStatus::success)
        return nullptr;
    return new halvo::SecretServiceItems(options);
}
