#pragma once

#include <Base/Bytes.h>

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace halvo::test {

/// What the server does with one request.
struct ServerReply {
    enum class Behaviour {
        answer,          ///< read the request, send status, headers and body, keep the connection
        answerEarly,     ///< answer when the first `readBeforeAnswer` bytes of the body are there, then close
        cutBeforeAnswer, ///< read the request, then close without a byte
        cutInUpload,     ///< reset the connection when `readBeforeAnswer` bytes of the body are there
        cutInBody,       ///< announce the whole body, send half of it, close
        answerInPieces,  ///< send the answer byte by byte
        silence,         ///< read the request and say nothing until the client goes
        silenceAfterHeader, ///< send the header, then nothing until the client goes
        raw,                ///< send `body` as it is in place of an HTTP response, then close
    };
    int status = 200;
    std::string body{};
    std::vector<std::pair<std::string, std::string>> headers{};
    Behaviour behaviour = Behaviour::answer;
    std::size_t readBeforeAnswer = 0;
};

struct ReceivedRequest {
    std::string method{};
    std::string target{}; ///< as it stood in the request line
    std::vector<std::pair<std::string, std::string>> headers{};
    std::string body{};
    std::size_t connection = 0; ///< counts from 1 in the order in which clients connected

    /// The value of the first field of that name, in any case of letters.
    std::optional<std::string> header(std::string_view name) const;
};

/// An HTTP server on 127.0.0.1 that follows a script, faults included. Each request takes the next reply,
/// whichever connection it comes on; beyond the script it answers 418. Ends with the object.
class FaultServer {
public:
    explicit FaultServer(std::vector<ServerReply> script);
    /// Asks `respond` about each request, its body read, from several threads.
    using Respond = std::function<ServerReply(const ReceivedRequest&)>;
    explicit FaultServer(Respond respond);
    FaultServer(std::initializer_list<ServerReply> script) : FaultServer(std::vector<ServerReply>(script)) {}
    FaultServer(const FaultServer&) = delete;
    FaultServer& operator=(const FaultServer&) = delete;
    ~FaultServer();

    int port() const { return portNumber; }
    /// "http://127.0.0.1:PORT" and what is appended to it.
    std::string url(std::string_view pathAndQuery = "/") const;
    /// The requests whose header arrived, in order. A body that was not read to its end holds what was read.
    std::vector<ReceivedRequest> requests() const;

private:
    class Connection;
    void acceptClients();
    void serve(int socket, std::size_t number);
    void start();
    ServerReply nextReply(const ReceivedRequest& request, std::size_t& index);
    void recordBody(std::size_t index, std::string body);

    int listener = -1;
    int stopEvent = -1; ///< readable once the server is to end
    int portNumber = 0;
    mutable std::mutex mutex;
    std::vector<ServerReply> script;
    Respond respond{};
    std::vector<ReceivedRequest> received;
    std::vector<std::jthread> clients;
    std::jthread acceptor;
};

/// A bucket in memory, for clients that need not sign. Objects have entity tags, and conditions are kept,
/// refused as unknown or not looked at.
class ObjectServer {
public:
    enum class Conditions { kept, unknown, unknownWith400, ignored };
    explicit ObjectServer(Conditions conditions) : conditions(conditions) {}

    /// The endpoint; the first part of a path is the bucket.
    std::string url() const { return server.url(""); }
    std::optional<std::string> object(const std::string& key) const;
    void put(const std::string& key, const std::string& content);
    std::vector<std::string> keys() const;
    /// Called before each write of that object, unlocked: a moment at which somebody else may write.
    void beforeWriting(const std::string& key, std::function<void()> action);
    /// How often an object was written.
    std::size_t writes(const std::string& key) const;

private:
    ServerReply respond(const ReceivedRequest& request);
    ServerReply write(const std::string& key, const ReceivedRequest& request);

    Conditions conditions;
    mutable std::mutex mutex;
    std::map<std::string, std::string> objects;
    std::map<std::string, std::size_t> writeCounts;
    std::map<std::string, std::function<void()>> actions;
    FaultServer server{[this](const ReceivedRequest& request) { return respond(request); }};
};

/// A port of 127.0.0.1 that nobody listens on.
int unusedPort();

} // namespace halvo::test
