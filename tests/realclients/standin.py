#!/usr/bin/env python3
"""Local stand-in of the services Claude Code and Codex report their rate limits from.

    standin.py PORT-FILE CONFIG-FILE

Listens on 127.0.0.1 (a free port, written to PORT-FILE once it listens) and reads CONFIG-FILE
on every request, so that a test changes the figures while the clients run:

    {"claude": {"headers": {NAME: VALUE, ...}, "body": "stream" | "garbage"},
     "codex": {"usage": {...} | "garbage"}}

Claude Code: HEAD /api/hello, then POST /v1/messages, answered with a streamed message and the
configured headers. Codex: GET /backend-api/wham/usage answers the configured usage body; the
other requests of its app-server are answered 404. Every request is appended to PORT-FILE.log.
"""
import http.server
import json
import sys

PORT_FILE, CONFIG_FILE = sys.argv[1], sys.argv[2]

STREAM = "".join(
    f"event: {kind}\ndata: {json.dumps(data)}\n\n"
    for kind, data in [
        ("message_start", {"type": "message_start", "message": {
            "id": "msg_standin", "type": "message", "role": "assistant",
            "model": "claude-sonnet-4-5", "content": [], "stop_reason": None,
            "stop_sequence": None, "usage": {"input_tokens": 12, "output_tokens": 1}}}),
        ("content_block_start", {"type": "content_block_start", "index": 0,
                                 "content_block": {"type": "text", "text": ""}}),
        ("content_block_delta", {"type": "content_block_delta", "index": 0,
                                 "delta": {"type": "text_delta", "text": "Stand-in reply."}}),
        ("content_block_stop", {"type": "content_block_stop", "index": 0}),
        ("message_delta", {"type": "message_delta", "delta": {
            "stop_reason": "end_turn", "stop_sequence": None}, "usage": {"output_tokens": 4}}),
        ("message_stop", {"type": "message_stop"}),
    ]).encode()

MESSAGE = json.dumps({
    "id": "msg_standin", "type": "message", "role": "assistant", "model": "claude-sonnet-4-5",
    "content": [{"type": "text", "text": "Stand-in reply."}], "stop_reason": "end_turn",
    "stop_sequence": None, "usage": {"input_tokens": 12, "output_tokens": 4}}).encode()


def config():
    with open(CONFIG_FILE) as file:
        return json.load(file)


class StandIn(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def answer(self, status, body=b"", kind="application/json", headers=None):
        with open(PORT_FILE + ".log", "a") as log:
            log.write(f"{self.command} {self.path} {status}\n")
        self.send_response(status)
        for name, value in (headers or {}).items():
            self.send_header(name, value)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)

    def do_HEAD(self):
        self.answer(200)

    def do_POST(self):
        length = int(self.headers.get("Content-Length", 0))
        request = json.loads(self.rfile.read(length) or b"{}")
        if not self.path.startswith("/v1/messages"):
            return self.answer(404, b"{}")
        claude = config().get("claude", {})
        if claude.get("body") == "garbage":
            return self.answer(200, b"<html>not a message</html>", "text/html",
                               claude.get("headers"))
        if request.get("stream"):
            return self.answer(200, STREAM, "text/event-stream", claude.get("headers"))
        self.answer(200, MESSAGE, headers=claude.get("headers"))

    def do_GET(self):
        if not self.path.startswith("/backend-api/wham/usage"):
            return self.answer(404, b"{}")
        usage = config().get("codex", {}).get("usage")
        body = b"{ not json" if usage == "garbage" else json.dumps(usage).encode()
        self.answer(200, body)


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), StandIn)
with open(PORT_FILE + ".tmp", "w") as file:
    file.write(str(server.server_address[1]))
import os  # noqa: E402  (the port file appears whole, by a rename)
os.rename(PORT_FILE + ".tmp", PORT_FILE)
server.serve_forever()
