"""The service over HTTP, with the faults that tests ask for."""
import contextlib
import http.server
import json
import os
import re
import socket
import struct
import sys
import tempfile
import threading
import time
import urllib.parse

from .fields import Refusal
from .service import ROUTES, File

MOST_JSON = 1 << 20  # bytes
CHUNK = 1 << 20


class Call:
    """What an operation is told of a request. The parts of the path that the route names are attributes."""

    def __init__(self, parts, content_type):
        self.__dict__.update({name: urllib.parse.unquote(part) for name, part in parts.items()})
        self.content_type = content_type
        self.user = self.token = self.body = None


class Faults:
    """What goes wrong next. Each fault waits for a request whose method and path (a regular expression for the
    whole of it) fit, and is used up by it:

        times        how many requests it is for, by default 1; a client may send a request anew, unasked, when a
                     connection that it had used before goes
        delay        seconds to wait before anything else
        status,body  the answer, in place of the service's own
        resetAfter   bytes of the request's body after which the connection is reset
        truncated    the answer of the service, announced whole, of which half is sent
    """

    def __init__(self):
        self.waiting = []
        self.lock = threading.Lock()

    def add(self, fault):
        re.compile(fault.get("path", ""))
        with self.lock:
            self.waiting.append(fault)

    def take(self, method, path):
        with self.lock:
            for fault in self.waiting:
                if fault.get("method", method).upper() == method and re.fullmatch(fault.get("path", ".*"), path):
                    fault["times"] = fault.get("times", 1) - 1
                    if fault["times"] <= 0:
                        self.waiting.remove(fault)
                    return fault
        return {}


class Handler(http.server.BaseHTTPRequestHandler):
    """One connection. `server` is a Server."""
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True
    timeout = 120  # seconds that a client may say nothing

    def handle_request(self):
        self.unread = 0
        path = urllib.parse.urlsplit(self.path).path
        method = self.command.upper()  # some clients write their methods in lower case
        self.fault = self.server.faults.take(method, path) if self.server.faults else {}
        try:
            self.unread = self.body_length()
            time.sleep(self.fault.get("delay", 0))
            if "status" in self.fault:
                self.skip_body()
                self.reply(self.fault["status"], self.fault.get("body", "").encode(), "application/json")
                return
            controls = self.server.faults and method == "POST" and path.startswith("/faults")
            result = self.change_faults(path) if controls else self.answer(method, path)
            self.skip_body()
            self.reply_with(result)
        except Refusal as refusal:
            self.skip_body()
            self.reply_with({"message": str(refusal)}, refusal.status)
        except (ConnectionError, TimeoutError):
            self.close_connection = True

    do_GET = do_HEAD = do_POST = do_DELETE = do_delete = handle_request

    def answer(self, method, path):
        """Finds the route, who asks, and the body; then it is the service's turn."""
        known = False
        for route_method, pattern, scope, takes, operation in ROUTES:
            match = pattern.fullmatch(path)
            known = known or match is not None
            if match and route_method == ("GET" if method == "HEAD" else method):
                call = Call(match.groupdict(), self.headers.get("Content-Type"))
                with self.server.turn:
                    if scope:
                        call.user, call.token = self.server.service.bearer(self.headers.get("Authorization"), scope)
                if method == "POST" and takes == "json":
                    call.body = self.json_body()
                with self.uploaded_file() if takes == "file" else contextlib.nullcontext() as file:
                    call.body = file or call.body
                    with self.server.turn:
                        return operation(self.server.service, call)
        raise Refusal(405, "This method is not for this address.") if known else Refusal(404, "Resource not found.")

    def change_faults(self, path):
        if path == "/faults/expire-tokens":
            with self.server.turn:
                self.server.service.revoke(lambda token: True)
        else:
            self.server.faults.add(self.json_body())

    # Requests

    def body_length(self):
        if self.headers.get("Transfer-Encoding"):
            self.close_connection = True
            raise Refusal(411, "The length of the body is not told.")
        length = self.headers.get("Content-Length", "0")
        if not re.fullmatch(r"[0-9]{1,18}", length):
            self.close_connection = True
            raise Refusal(400, "The length of the body is not a number.")
        return int(length)

    def body_chunks(self):
        reset_after = self.fault.get("resetAfter")
        done = 0
        while self.unread > 0:
            if reset_after is not None and done >= reset_after:
                self.reset()
            most = CHUNK if reset_after is None else max(1, min(CHUNK, reset_after - done))
            chunk = self.rfile.read(min(most, self.unread))
            if not chunk:
                raise ConnectionError("the client left in the middle of its request")
            self.unread -= len(chunk)
            done += len(chunk)
            yield chunk

    def skip_body(self):
        """Reads what is left of the request, so that the client gets round to reading the answer."""
        for _ in self.body_chunks():
            pass

    def json_body(self):
        if self.unread > MOST_JSON:
            raise Refusal(413, "The body is too large.")
        try:
            return json.loads(b"".join(self.body_chunks()))
        except (ValueError, RecursionError):
            raise Refusal(400, "The body is not JSON.") from None

    @contextlib.contextmanager
    def uploaded_file(self):
        """The body in a file of its own, which the operation may move to where it belongs."""
        handle, path = tempfile.mkstemp(dir=f"{self.server.service.folder}/incoming")
        try:
            with os.fdopen(handle, "wb") as file:
                for chunk in self.body_chunks():
                    file.write(chunk)
            yield path
        finally:
            with contextlib.suppress(FileNotFoundError):
                os.remove(path)

    def reset(self):
        """Closes the connection so that the client sees an error and no end."""
        self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.connection.close()
        self.rfile.close()  # which shares it
        raise ConnectionResetError

    # Answers

    def reply_with(self, result, status=200):
        if isinstance(result, File):
            self.reply_file(result)
        elif isinstance(result, str):
            self.reply(status, result.encode(), "application/rss+xml; charset=utf-8")
        elif result is None:
            self.reply(204, b"")
        else:
            self.reply(status, json.dumps(result).encode(), "application/json")

    def reply(self, status, body, content_type=None):
        self.send_response(status)
        if content_type:
            self.send_header("Content-Type", content_type)
        if status != 204:
            self.send_header("Content-Length", str(len(body)))
        if self.fault.get("truncated"):
            body = body[:len(body) // 2]
            self.close_connection = True
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)

    def reply_file(self, answer):
        with answer.file as file:
            self.send_response(200)
            self.send_header("Content-Type", answer.kind)
            self.send_header("Content-Length", str(os.fstat(file.fileno()).st_size))
            if answer.name:
                name = urllib.parse.quote(answer.name)
                self.send_header("Content-Disposition", f"attachment; filename*=UTF-8''{name}")
            self.end_headers()
            while self.command != "HEAD" and (chunk := file.read(CHUNK)):
                self.wfile.write(chunk)

    def send_error(self, code, message=None, explain=None):
        """What the base class says of requests that it cannot read."""
        self.close_connection = True
        self.fault = {}
        self.reply(code, json.dumps({"message": message or "The request cannot be understood."}).encode(),
                   "application/json")

    def log_message(self, format, *arguments):  # the base class's name for it
        if self.server.talks:
            sys.stderr.write(f"{self.log_date_time_string()} {format % arguments}\n")


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 128

    def __init__(self, service, port, faults, talks):
        super().__init__(("127.0.0.1", port), Handler)
        self.service, self.faults, self.talks = service, faults, talks
        self.turn = threading.Lock()  # the service does one thing at a time
        service.base = f"http://127.0.0.1:{self.server_address[1]}"

    def handle_error(self, request, client_address):
        """A client that goes away is not our fault; everything else is told."""
        if not isinstance(sys.exc_info()[1], ConnectionError):
            super().handle_error(request, client_address)
