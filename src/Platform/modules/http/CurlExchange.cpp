#include "CurlExchange.h"

#include <Base/Text.h>
#include <Base/URL.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/select.h>

namespace halvo {
namespace {

constexpr std::chrono::milliseconds connectLimit{30'000};
constexpr long uploadBufferSize = 512L * 1024;
/// How long an upload waits for the answer to its question; no stall to speak of beside what is sent then.
constexpr long askPatienceMilliseconds = 300;
/// How long one wait lasts when nothing happens; cancellation and time limits end it earlier.
constexpr std::chrono::milliseconds longestWait{1000};

[[noreturn]] void refuse(const std::string& description) {
    throw HTTPError(HTTPError::Kind::invalidRequest, description);
}

/// The authority of an http or https URL. A URL with a user or password in it is refused without being
/// repeated.
HTTPAuthority parseAuthority(const std::string& url) {
    const std::string scheme = lowercased(url.substr(0, url.find("://")));
    if (scheme != "http" && scheme != "https")
        refuse("Only http and https addresses can be opened.");
    const CurlOwner<CURLU, &curl_url_cleanup> parts(curl_url());
    if (curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), CURLU_PATH_AS_IS) != CURLUE_OK)
        refuse("The address of an HTTP request is not a valid URL.");
    const auto part = [&](CURLUPart which, unsigned flags) {
        char* text = nullptr;
        if (curl_url_get(parts.get(), which, &text, flags) != CURLUE_OK)
            return std::string();
        std::string copy(text);
        curl_free(text);
        return copy;
    };
    HTTPAuthority authority{scheme, part(CURLUPART_HOST, 0), part(CURLUPART_PORT, CURLU_DEFAULT_PORT)};
    if (!part(CURLUPART_USER, 0).empty() || !part(CURLUPART_PASSWORD, 0).empty())
        refuse("The address of " + authority.host + " must not hold a user name or password.");
    return authority;
}

bool isToken(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char letter) {
        return letter > ' ' && letter < 0x7F && !std::strchr("()<>@,;:\\\"/[]?={}", letter);
    });
}

bool isFieldValue(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == text.npos;
}

/// libcurl has limits of its own: for one line (100 KB; the second code is CURLE_TOO_LARGE of later versions)
/// and for the whole header.
bool isHeaderLimit(CURLcode code, std::string_view message) {
    return code == CURLE_OUT_OF_MEMORY || code == 100 || message.starts_with("Too large response headers");
}

bool isBroken(CURLcode code) {
    return code == CURLE_SEND_ERROR || code == CURLE_RECV_ERROR || code == CURLE_PARTIAL_FILE;
}

std::string secondsText(std::chrono::milliseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.4g", static_cast<double>(time.count()) / 1000);
    return text;
}

/// What the system has not got rid of yet, on the sockets of the transfer. libcurl names a transfer's socket
/// only when it is over (CURLINFO_ACTIVESOCKET), but here it has to say what it waits for.
int bytesInSendBuffers(CURLM* multi) {
    fd_set reading, writing, failing;
    FD_ZERO(&reading);
    FD_ZERO(&writing);
    FD_ZERO(&failing);
    int last = -1;
    curl_multi_fdset(multi, &reading, &writing, &failing, &last);
    int sum = 0;
    for (int socket = 0; socket <= last; ++socket) {
        int waiting = 0;
        if ((FD_ISSET(socket, &reading) || FD_ISSET(socket, &writing)) &&
            ::ioctl(socket, SIOCOUTQ, &waiting) == 0)
            sum += waiting;
    }
    return sum;
}

template<typename Value>
void set(CURL* easy, CURLoption option, Value value) {
    if (curl_easy_setopt(easy, option, value) != CURLE_OK)
        throw HTTPError(HTTPError::Kind::other, "libcurl does not support what Halvo needs.");
}

} // namespace

CurlExchange::CurlExchange(CurlConnections& connections, const HTTPRequest& request,
                           const std::string& authorities)
    : connections(connections), request(request), authorities(authorities),
      authority(parseAuthority(request.url)), unsent(request.body) {
    if (!isToken(request.method))
        refuse("An HTTP request to " + authority.host + " has no valid method.");
    for (const auto& [name, value] : request.headers)
        if (!isToken(name) || !isFieldValue(value))
            refuse("The header field " + std::string(isToken(name) ? name : "?") + " of a request to " +
                   authority.host + " is not valid.");
    configure();
}

// libcurl writes to the error buffer even while it closes a handle, so nothing of this object may stay in
// one.
CurlExchange::~CurlExchange() { curl_easy_reset(connections.easy.get()); }

void CurlExchange::configure() {
    CURL* easy = connections.easy.get();
    curl_easy_reset(easy); // keeps the open connections
    set(easy, CURLOPT_ERRORBUFFER, message);
    set(easy, CURLOPT_URL, request.url.c_str());
    set(easy, CURLOPT_PATH_AS_IS, 1L);
    set(easy, CURLOPT_NOSIGNAL, 1L);
    set(easy, CURLOPT_FOLLOWLOCATION, 0L);
    set(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    set(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    if (!authorities.empty()) {
        set(easy, CURLOPT_CAINFO, authorities.c_str());
        set(easy, CURLOPT_CAPATH, static_cast<const char*>(nullptr)); // or the system's would count as well
    }
    set(easy, CURLOPT_SSLVERSION, long{CURL_SSLVERSION_TLSv1_2});
    set(easy, CURLOPT_ACCEPT_ENCODING, "");
    set(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(easy, CURLOPT_TCP_KEEPALIVE, 1L);
    if (!sendsLargeBody()) // the others are watched in transfer()
        set(easy, CURLOPT_TIMEOUT_MS,
            static_cast<long>(std::max<std::int64_t>(request.timeLimit.count(), 1)));
    set(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(connectLimit.count()));
#if LIBCURL_VERSION_NUM >= 0x075700
    set(easy, CURLOPT_QUICK_EXIT, 1L); // a name look-up that was given up is not waited for
#endif
    if (request.method == "POST")
        set(easy, CURLOPT_FRESH_CONNECT, 1L); // on a kept one libcurl may send it twice, should that be cut
    if (isLoopbackHost(authority.host))
        set(easy, CURLOPT_PROXY, ""); // what is meant for this machine does not leave it
    set(easy, CURLOPT_CLOSESOCKETFUNCTION, &CurlConnections::closeSocket);
    set(easy, CURLOPT_CLOSESOCKETDATA, &connections);
    setReceivers();
    configureBody();
    configureHeaders();
}

void CurlExchange::setReceivers() {
    CURL* easy = connections.easy.get();
    set(easy, CURLOPT_HEADERFUNCTION, &receiveHeader);
    set(easy, CURLOPT_HEADERDATA, this);
    set(easy, CURLOPT_WRITEFUNCTION, &receiveBody);
    set(easy, CURLOPT_WRITEDATA, this);
}

void CurlExchange::configureBody() {
    CURL* easy = connections.easy.get();
    // CURLOPT_UPLOAD, not CURLOPT_POSTFIELDS: it neither invents a content type nor a method of its own.
    if (sendsBody()) {
        set(easy, CURLOPT_UPLOAD, 1L);
        set(easy, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
        set(easy, CURLOPT_READFUNCTION, &readBody);
        set(easy, CURLOPT_READDATA, this);
        set(easy, CURLOPT_SEEKFUNCTION, &seekBody);
        set(easy, CURLOPT_SEEKDATA, this);
        set(easy, CURLOPT_UPLOAD_BUFFERSIZE, uploadBufferSize);
    } else if (request.method == "HEAD") {
        set(easy, CURLOPT_NOBODY, 1L);
    }
    set(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    if (request.progress) {
        set(easy, CURLOPT_NOPROGRESS, 0L);
        set(easy, CURLOPT_XFERINFOFUNCTION, &transferInfo);
        set(easy, CURLOPT_XFERINFODATA, this);
    }
}

void CurlExchange::configureHeaders() {
    const auto append = [this](const std::string& line) {
        curl_slist* longer = curl_slist_append(headers.get(), line.c_str());
        if (longer == nullptr)
            throw std::bad_alloc();
        [[maybe_unused]] curl_slist* previous = headers.release();
        headers.reset(longer);
    };
    bool givesExpect = false;
    for (const auto& [name, value] : request.headers) {
        // libcurl takes "Name:" for a field to leave out and "Name;" for one with an empty value.
        append(trimmed(value).empty() ? name + ";" : joined({name, value}, ": "));
        givesExpect = givesExpect || lowercased(name) == "expect";
    }
    if (!givesExpect && !asksBeforeBody())
        append("Expect:"); // libcurl asks before every body otherwise
    set(connections.easy.get(), CURLOPT_EXPECT_100_TIMEOUT_MS, askPatienceMilliseconds);
    set(connections.easy.get(), CURLOPT_HTTPHEADER, headers.get());
}

/// A server that refuses an upload and closes while we still send takes its answer with it under TLS. One
/// that is asked first ("Expect: 100-continue") refuses before anything was sent; a server that does not know
/// this costs the wait.
bool CurlExchange::asksBeforeBody() const { return authority.scheme == "https" && sendsLargeBody(); }

HTTPResponse CurlExchange::run(const std::stop_token& cancellation) {
    const CURLcode code = transfer(cancellation);
    if (thrown)
        std::rethrow_exception(thrown);
    if (code != CURLE_OK && !refusedInUpload(code))
        fail(code);
    if (sendsBody() && response.status < 300)
        reportProgress(request.body.size());
    if (!headerComplete)
        throw HTTPError(HTTPError::Kind::notHTTP,
                        "The answer of " + authority.host + " is not an HTTP response.");
    return std::move(response);
}

CURLcode CurlExchange::transfer(const std::stop_token& cancellation) {
    CURLM* multi = connections.multi.get();
    CURL* easy = connections.easy.get();
    if (cancellation.stop_requested())
        throw CancelledError();
    if (curl_multi_add_handle(multi, easy) != CURLM_OK)
        throw HTTPError(HTTPError::Kind::other, "libcurl could not start a transfer.");
    // Taking an unfinished handle out ends its connection at once. Goes last, after the wake-up below.
    const auto takeOut = [multi](CURL* handle) { curl_multi_remove_handle(multi, handle); };
    const std::unique_ptr<CURL, decltype(takeOut)> added(easy, takeOut);
    const std::stop_callback wakeUp(cancellation, [multi] { curl_multi_wakeup(multi); });
    movement = {};
    lastMovement = std::chrono::steady_clock::now();

    for (;;) {
        if (cancellation.stop_requested())
            throw CancelledError();
        int running = 0;
        const CURLMcode performed = curl_multi_perform(multi, &running);
        int queued = 0;
        while (const CURLMsg* done = curl_multi_info_read(multi, &queued))
            if (done->msg == CURLMSG_DONE && done->easy_handle == easy)
                return done->data.result;
        const std::chrono::milliseconds left = patience();
        if (performed != CURLM_OK || running == 0 ||
            curl_multi_poll(multi, nullptr, 0, static_cast<int>(left.count()), nullptr) != CURLM_OK)
            throw HTTPError(HTTPError::Kind::other,
                            "libcurl failed in a transfer with " + authority.host + ".");
    }
}

/// How long to wait for something to happen. Throws HTTPError when a large body has stood still for too long.
/// What libcurl gave to the system may still lie in its send buffer, megabytes of it: only that this drains
/// shows that the server takes bytes, so a slow line counts as moving and a dead one does not.
std::chrono::milliseconds CurlExchange::patience() {
    using std::chrono::steady_clock;
    if (!sendsLargeBody())
        return longestWait;
    CURL* easy = connections.easy.get();
    Movement now{.waiting = bytesInSendBuffers(connections.multi.get())};
    curl_easy_getinfo(easy, CURLINFO_SIZE_UPLOAD_T, &now.sent);
    curl_easy_getinfo(easy, CURLINFO_SIZE_DOWNLOAD_T, &now.received);
    if (now != movement)
        lastMovement = steady_clock::now();
    movement = now;
    const bool isAllTaken = static_cast<std::uint64_t>(now.sent) >= request.body.size() && now.waiting == 0;
    const auto limit = isAllTaken ? request.timeLimit : request.silenceLimit;
    const auto stood =
        std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - lastMovement);
    if (stood >= limit)
        throw HTTPError(HTTPError::Kind::timedOut, isAllTaken ? unfinished(limit)
                                                              : "The connection to " + authority.host +
                                                                    " has taken no data for " +
                                                                    secondsText(limit) + " seconds.");
    // A buffer that drains wakes nobody up, so it is looked at often enough.
    return std::clamp(limit / 4, std::chrono::milliseconds(1), longestWait);
}

std::string CurlExchange::unfinished(std::chrono::milliseconds limit) const {
    return "The request to " + authority.host + " was not finished within " + secondsText(limit) +
           " seconds.";
}

/// A server that refuses an upload may answer and close before it has read it all. The answer is what counts
/// then, also when the close took the end of its body away.
bool CurlExchange::refusedInUpload(CURLcode code) {
    if (!sendsBody() || !isBroken(code))
        return false;
    if (!headerComplete && authority.scheme == "http")
        readAnswerLeftInSocket();
    return headerComplete && response.status >= 300;
}

void CurlExchange::fail(CURLcode code) {
    if (bodyTooLarge)
        throw HTTPError(HTTPError::Kind::responseTooLarge, "The answer of " + authority.host +
                                                               " is larger than " +
                                                               formatByteCount(request.responseLimit) + ".");
    if (headerTooLarge || isHeaderLimit(code, message))
        throw HTTPError(HTTPError::Kind::notHTTP,
                        "The header of the answer of " + authority.host + " is too large.");
    if (code == CURLE_OPERATION_TIMEDOUT) {
        curl_off_t elapsed = 0; // microseconds
        curl_easy_getinfo(connections.easy.get(), CURLINFO_TOTAL_TIME_T, &elapsed);
        // libcurl's timers may fire a little early: only a clear difference tells which limit it was.
        constexpr std::chrono::milliseconds slack{50};
        if (sendsLargeBody() || std::chrono::microseconds(elapsed) + slack < request.timeLimit)
            throw HTTPError(HTTPError::Kind::cannotConnect,
                            "Could not connect to " + authority.host + " port " + authority.port +
                                ": no answer within " + std::to_string(connectLimit.count() / 1000) +
                                " seconds");
        throw HTTPError(HTTPError::Kind::timedOut, unfinished(request.timeLimit));
    }
    long systemCode = 0;
    curl_easy_getinfo(connections.easy.get(), CURLINFO_OS_ERRNO, &systemCode);
    throw describeTransferFailure(code, authority, message, static_cast<int>(systemCode));
}

void CurlExchange::reportProgress(std::uint64_t sent) {
    if (!request.progress || sent <= reported)
        return;
    reported = sent;
    request.progress(sent, request.body.size());
}

std::size_t CurlExchange::readBody(char* buffer, std::size_t size, std::size_t count, void* self) {
    ByteView& unsent = static_cast<CurlExchange*>(self)->unsent;
    const std::size_t length = std::min(size * count, unsent.size());
    if (length > 0)
        std::memcpy(buffer, unsent.data(), length);
    unsent = unsent.subspan(length);
    return length;
}

int CurlExchange::seekBody(void* self, curl_off_t offset, int origin) {
    auto& exchange = *static_cast<CurlExchange*>(self);
    if (origin != SEEK_SET || offset < 0 || static_cast<std::uint64_t>(offset) > exchange.request.body.size())
        return CURL_SEEKFUNC_FAIL;
    exchange.unsent = exchange.request.body.subspan(static_cast<std::size_t>(offset));
    return CURL_SEEKFUNC_OK;
}

std::size_t CurlExchange::receiveHeader(char* line, std::size_t size, std::size_t count, void* self) {
    auto& exchange = *static_cast<CurlExchange*>(self);
    const std::string_view whole(line, size * count);
    const std::string_view text = trimmed(whole);
    exchange.headerSize += size * count;
    exchange.headerTooLarge = exchange.headerSize > maximumHeaderSize;
    if (exchange.headerTooLarge)
        return 0;
    HTTPResponse& response = exchange.response;
    if (whole.starts_with("HTTP/")) {
        // Interim responses (1xx) come before the one that counts.
        response.headers.clear();
        response.status = 0;
        if (const std::size_t blank = text.find(' '); blank != text.npos)
            std::from_chars(text.data() + blank + 1, text.data() + text.size(), response.status);
    } else if (text.empty()) {
        exchange.headerComplete = response.status >= 200;
    } else if (const std::size_t colon = text.find(':');
               colon != text.npos && !exchange.headerComplete && whole[0] != ' ' && whole[0] != '\t') {
        response.headers.emplace_back(trimmed(text.substr(0, colon)), trimmed(text.substr(colon + 1)));
    }
    return size * count;
}

std::size_t CurlExchange::receiveBody(char* piece, std::size_t size, std::size_t count, void* self) {
    auto& exchange = *static_cast<CurlExchange*>(self);
    Bytes& body = exchange.response.body;
    const std::size_t length = size * count;
    exchange.bodyTooLarge = length > exchange.request.responseLimit - body.size();
    if (exchange.bodyTooLarge)
        return 0;
    try {
        body.insert(body.end(), piece, piece + length);
    } catch (...) {
        exchange.thrown = std::current_exception();
        return 0;
    }
    return length;
}

int CurlExchange::transferInfo(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) {
    auto& exchange = *static_cast<CurlExchange*>(self);
    try {
        exchange.reportProgress(
            std::min<std::uint64_t>(static_cast<std::uint64_t>(sent), exchange.request.body.size()));
    } catch (...) {
        exchange.thrown = std::current_exception();
        return 1;
    }
    return 0;
}

} // namespace halvo
