#include <Support/FaultServer.h>

#include <Base/Text.h>
#include <Base/URL.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace halvo::test {
namespace {

using Behaviour = ServerReply::Behaviour;

/// A listening socket on a free port of 127.0.0.1.
std::pair<int, int> listenOnFreePort() {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (listener < 0 || ::bind(listener, generic, size) != 0 || ::listen(listener, 64) != 0 ||
        ::getsockname(listener, generic, &size) != 0)
        throw std::runtime_error("cannot listen on 127.0.0.1");
    return {listener, ntohs(address.sin_port)};
}

std::optional<std::string> findHeader(const std::vector<std::pair<std::string, std::string>>& headers,
                                      std::string_view name) {
    for (const auto& [key, value] : headers)
        if (lowercased(key) == lowercased(name))
            return value;
    return std::nullopt;
}

ReceivedRequest parseHeader(std::string_view header) {
    ReceivedRequest request;
    std::vector<std::string> lines = split(header, '\n');
    for (std::size_t index = 0; index < lines.size(); ++index) {
        const std::string_view line = trimmed(lines[index]);
        if (index == 0) {
            const std::size_t first = line.find(' ');
            const std::size_t last = line.rfind(' ');
            request.method = line.substr(0, first);
            request.target = line.substr(first + 1, last - first - 1);
        } else if (const std::size_t colon = line.find(':'); colon != std::string_view::npos) {
            request.headers.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
        }
    }
    return request;
}

std::string headerOf(const ServerReply& reply) {
    std::string text = "HTTP/1.1 " + std::to_string(reply.status) + " Scripted\r\n";
    for (const auto& [name, value] : reply.headers)
        text += name + ": " + value + "\r\n";
    if (reply.status >= 200 && reply.status != 204 && !findHeader(reply.headers, "Content-Length") &&
        !findHeader(reply.headers, "Transfer-Encoding"))
        text += "Content-Length: " + std::to_string(reply.body.size()) + "\r\n";
    return text + "\r\n";
}

} // namespace

std::optional<std::string> ReceivedRequest::header(std::string_view name) const {
    return findHeader(headers, name);
}

/// One client. Reads and writes wait for the socket or for the end of the server.
class FaultServer::Connection {
public:
    Connection(int socket, int stopEvent) : socket(socket), stopEvent(stopEvent) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { ::close(socket); }

    /// False when the client has gone or the server ends.
    bool receiveMore() {
        if (!wait(POLLIN))
            return false;
        char piece[65536];
        const ssize_t count = ::recv(socket, piece, sizeof piece, 0);
        if (count <= 0)
            return false;
        pending.append(piece, static_cast<std::size_t>(count));
        return true;
    }

    bool send(std::string_view text) {
        while (!text.empty()) {
            if (!wait(POLLOUT))
                return false;
            const ssize_t count = ::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
            if (count <= 0)
                return false;
            text.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }

    /// The header up to its empty line; absent when the client goes first.
    std::optional<std::string> receiveHeader() {
        std::size_t end = 0;
        while ((end = pending.find("\r\n\r\n")) == std::string::npos)
            if (!receiveMore())
                return std::nullopt;
        std::string header = pending.substr(0, end);
        pending.erase(0, end + 4);
        return header;
    }

    /// Up to `size` bytes of a body; fewer when the client goes first.
    std::string receiveBody(std::size_t size) {
        while (pending.size() < size && receiveMore()) {
        }
        std::string body = pending.substr(0, size);
        pending.erase(0, body.size());
        return body;
    }

    void waitUntilClientGoes() {
        while (receiveMore())
            pending.clear();
    }

    /// The close that follows sends a reset in place of an orderly end.
    void resetOnClose() const {
        const linger atOnce{1, 0};
        ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    }

private:
    bool wait(short events) const {
        pollfd watched[] = {{socket, events, 0}, {stopEvent, POLLIN, 0}};
        return ::poll(watched, 2, -1) > 0 && watched[1].revents == 0;
    }

    int socket;
    int stopEvent;
    std::string pending;
};

FaultServer::FaultServer(std::vector<ServerReply> script) : script(std::move(script)) { start(); }

FaultServer::FaultServer(Respond respond) : respond(std::move(respond)) { start(); }

void FaultServer::start() {
    // A proxy that is set on the developer's machine must not come between a test and its server.
    ::setenv("no_proxy", "127.0.0.1,localhost", 1);
    std::tie(listener, portNumber) = listenOnFreePort();
    stopEvent = ::eventfd(0, EFD_CLOEXEC);
    acceptor = std::jthread([this] { acceptClients(); });
}

FaultServer::~FaultServer() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(stopEvent, &one, sizeof one);
    acceptor.join();
    clients.clear();
    ::close(listener);
    ::close(stopEvent);
}

std::string FaultServer::url(std::string_view pathAndQuery) const {
    return "http://127.0.0.1:" + std::to_string(portNumber) + std::string(pathAndQuery);
}

std::vector<ReceivedRequest> FaultServer::requests() const {
    const std::scoped_lock lock(mutex);
    return received;
}

void FaultServer::acceptClients() {
    for (std::size_t number = 1;; ++number) {
        pollfd watched[] = {{listener, POLLIN, 0}, {stopEvent, POLLIN, 0}};
        if (::poll(watched, 2, -1) <= 0 || watched[1].revents != 0)
            return;
        const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client >= 0)
            clients.emplace_back([this, client, number] { serve(client, number); });
    }
}

ServerReply FaultServer::nextReply(const ReceivedRequest& request, std::size_t& index) {
    const std::scoped_lock lock(mutex);
    index = received.size();
    received.push_back(request);
    return index < script.size() ? script[index] : ServerReply{.status = 418, .body = "the script is over"};
}

void FaultServer::recordBody(std::size_t index, std::string body) {
    const std::scoped_lock lock(mutex);
    received[index].body = std::move(body);
}

void FaultServer::serve(int socket, std::size_t number) {
    Connection client(socket, stopEvent);
    while (const auto header = client.receiveHeader()) {
        ReceivedRequest request = parseHeader(*header);
        request.connection = number;
        std::size_t index = 0;
        ServerReply reply = nextReply(request, index);
        const std::size_t announced = static_cast<std::size_t>(
            parseInteger(request.header("Content-Length").value_or("0")).value_or(0));
        const bool readsPart =
            reply.behaviour == Behaviour::answerEarly || reply.behaviour == Behaviour::cutInUpload;
        request.body =
            client.receiveBody(readsPart ? std::min(announced, reply.readBeforeAnswer) : announced);
        recordBody(index, request.body);
        if (respond)
            reply = respond(request);

        const std::string start = headerOf(reply);
        // What would follow the header of an answer to HEAD would be taken for the next answer.
        const std::string body = request.method == "HEAD" ? "" : reply.body;
        switch (reply.behaviour) {
        case Behaviour::answer:
            if (!client.send(start + body))
                return;
            break;
        case Behaviour::answerEarly: client.send(start + body); return;
        case Behaviour::cutBeforeAnswer: return;
        case Behaviour::cutInUpload: client.resetOnClose(); return;
        case Behaviour::cutInBody: client.send(start + body.substr(0, body.size() / 2)); return;
        case Behaviour::answerInPieces:
            for (const char letter : start + body)
                if (!client.send({&letter, 1}))
                    return;
            break;
        case Behaviour::silence: client.waitUntilClientGoes(); return;
        case Behaviour::silenceAfterHeader:
            client.send(start);
            client.waitUntilClientGoes();
            return;
        case Behaviour::raw: client.send(reply.body); return;
        }
    }
}

namespace {

std::string tagOf(const std::string& content) {
    return "\"" + std::to_string(std::hash<std::string>()(content)) + "\"";
}

ServerReply errorReply(int status, const std::string& code) {
    return {.status = status, .body = "<Error><Code>" + code + "</Code><Message>said so</Message></Error>"};
}

} // namespace

std::optional<std::string> ObjectServer::object(const std::string& key) const {
    const std::scoped_lock lock(mutex);
    const auto found = objects.find(key);
    return found == objects.end() ? std::nullopt : std::optional(found->second);
}

void ObjectServer::put(const std::string& key, const std::string& content) {
    const std::scoped_lock lock(mutex);
    objects[key] = content;
}

std::vector<std::string> ObjectServer::keys() const {
    const std::scoped_lock lock(mutex);
    std::vector<std::string> names;
    for (const auto& [key, content] : objects)
        names.push_back(key);
    return names;
}

void ObjectServer::beforeWriting(const std::string& key, std::function<void()> action) {
    const std::scoped_lock lock(mutex);
    actions[key] = std::move(action);
}

std::size_t ObjectServer::writes(const std::string& key) const {
    const std::scoped_lock lock(mutex);
    const auto found = writeCounts.find(key);
    return found == writeCounts.end() ? 0 : found->second;
}

ServerReply ObjectServer::respond(const ReceivedRequest& request) {
    const std::size_t slash = request.target.find('/', 1);
    const std::string key =
        slash == std::string::npos ? "" : percentDecoded(request.target.substr(slash + 1));
    if (request.method == "PUT") {
        std::function<void()> action;
        {
            const std::scoped_lock lock(mutex);
            if (const auto found = actions.find(key); found != actions.end())
                action = found->second;
        }
        if (action)
            action();
        return write(key, request);
    }
    const std::scoped_lock lock(mutex);
    const auto found = objects.find(key);
    if (request.method == "DELETE") {
        if (found != objects.end())
            objects.erase(found);
        return {.status = 204};
    }
    if (found == objects.end())
        return errorReply(404, "NoSuchKey");
    return {.body = found->second, .headers = {{"ETag", tagOf(found->second)}}};
}

ServerReply ObjectServer::write(const std::string& key, const ReceivedRequest& request) {
    const std::scoped_lock lock(mutex);
    const auto found = objects.find(key);
    const auto match = request.header("If-Match");
    if (match || request.header("If-None-Match")) {
        if (conditions == Conditions::unknown)
            return errorReply(501, "NotImplemented");
        if (conditions == Conditions::unknownWith400)
            return errorReply(400, "NotImplemented");
        const bool holds =
            match ? found != objects.end() && tagOf(found->second) == *match : found == objects.end();
        if (conditions == Conditions::kept && !holds)
            return errorReply(412, "PreconditionFailed");
    }
    ++writeCounts[key];
    if (const auto source = request.header("x-amz-copy-source")) {
        objects[key] = objects[percentDecoded(source->substr(source->find('/') + 1))];
        return {.body =
                    "\n  <CopyObjectResult/>"}; // behind the blanks with which stores keep a connection alive
    }
    objects[key] = request.body;
    return {};
}

int unusedPort() {
    const auto [listener, port] = listenOnFreePort();
    ::close(listener);
    return port;
}

} // namespace halvo::test
