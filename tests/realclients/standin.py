#!/usr/bin/env python3
"""Local stand-in of the services Claude Code and Codex report their rate limits from.

    standin.py PORT-FILE CONFIG-FILE

Listens on 127.0.0.1 (a free port, written to PORT-FILE once it listens) and reads CONFIG-FILE,
{"used": SHARE, "reset": EPOCH, "weekly": SHARE, "weeklyReset": EPOCH, "fault": ""|"no-figures"|
"no-window"|"garbage"}, on every request, so that a test changes the figures while the clients
run. Claude Code: HEAD /api/hello, then POST /v1/messages, answered with a message and the
rate-limit headers. Codex: GET /backend-api/wham/usage answers the usage; other requests 404.
Every request is appended to PORT-FILE.log.
"""
import http.server, json, os, sys, time

PORT_FILE, CONFIG_FILE = sys.argv[1], sys.argv[2]
REPLY = {"id": "msg_standin", "type": "message", "role": "assistant", "model": "claude-sonnet-4-5",
         "content": [], "stop_reason": None, "stop_sequence": None,
         "usage": {"input_tokens": 12, "output_tokens": 1}}
TEXT = {"type": "text_delta", "text": "Stand-in reply."}
STREAM = "".join(f"event: {data['type']}\ndata: {json.dumps(data)}\n\n" for data in [
    {"type": "message_start", "message": REPLY},
    {"type": "content_block_start", "index": 0, "content_block": {"type": "text", "text": ""}},
    {"type": "content_block_delta", "index": 0, "delta": TEXT},
    {"type": "content_block_stop", "index": 0},
    {"type": "message_delta", "delta": {"stop_reason": "end_turn", "stop_sequence": None},
     "usage": {"output_tokens": 4}},
    {"type": "message_stop"}]).encode()
MESSAGE = json.dumps({**REPLY, "content": [{"type": "text", "text": TEXT["text"]}],
                      "stop_reason": "end_turn", "usage": {"input_tokens": 12,
                                                           "output_tokens": 4}}).encode()


def windows(figures):
    return (("5h", "primary", 18000, figures["used"], figures["reset"]),
            ("7d", "secondary", 604800, figures["weekly"], figures["weeklyReset"]))


def claude_headers(figures):
    if figures["fault"] == "no-figures":
        return {}
    prefix = "anthropic-ratelimit-unified-"
    headers = {prefix + "status": "allowed", prefix + "representative-claim": "five_hour",
               prefix + "reset": str(figures["reset"])}
    for name, _, _, used, reset in windows(figures):
        headers.update({f"{prefix}{name}-status": "rejected" if used >= 1 else "allowed",
                        f"{prefix}{name}-utilization": f"{used:g}", f"{prefix}{name}-reset": str(reset)})
    return headers


def codex_usage(figures):
    limits = {"allowed": figures["used"] < 1, "limit_reached": figures["used"] >= 1}
    if figures["fault"] != "no-window":
        limits.update({f"{kind}_window": {
            "used_percent": round(used * 100), "limit_window_seconds": seconds,
            "reset_after_seconds": reset - int(time.time()), "reset_at": reset}
            for _, kind, seconds, used, reset in windows(figures)})
    usage = {"plan_type": "plus", "rate_limit": limits,
             "credits": {"has_credits": False, "unlimited": False, "balance": "0"}}
    if figures["fault"] == "no-figures":
        del usage["rate_limit"]
    return usage


class StandIn(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def answer(self, status, body=b"{}", kind="application/json", headers=None):
        with open(PORT_FILE + ".log", "a") as log:
            log.write(f"{self.command} {self.path} {status}\n")
        self.send_response(status)
        for name, value in {**(headers or {}), "Content-Type": kind,
                            "Content-Length": str(len(body))}.items():
            self.send_header(name, value)
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)

    def do_HEAD(self):
        self.answer(200, b"")

    def do_POST(self):
        request = json.loads(self.rfile.read(int(self.headers.get("Content-Length", 0))) or b"{}")
        if not self.path.startswith("/v1/messages"):
            return self.answer(404)
        with open(CONFIG_FILE) as file:
            figures = json.load(file)
        headers = claude_headers(figures)
        if figures["fault"] == "garbage":
            return self.answer(200, b"<html>not a message</html>", "text/html", headers)
        if request.get("stream"):
            return self.answer(200, STREAM, "text/event-stream", headers)
        self.answer(200, MESSAGE, headers=headers)

    def do_GET(self):
        if not self.path.startswith("/backend-api/wham/usage"):
            return self.answer(404)
        with open(CONFIG_FILE) as file:
            figures = json.load(file)
        garbage = figures["fault"] == "garbage"
        self.answer(200, b"{ not json" if garbage else json.dumps(codex_usage(figures)).encode())


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), StandIn)
with open(PORT_FILE + ".tmp", "w") as file:  # the port file appears whole, by a rename
    file.write(str(server.server_address[1]))
os.rename(PORT_FILE + ".tmp", PORT_FILE)
server.serve_forever()
