#!/usr/bin/env python3
"""standin.py PORT-FILE CONFIG-FILE: a local stand-in of the rate-limit services of Claude Code
(HEAD /api/hello, POST /v1/messages) and Codex (GET /backend-api/wham/usage) on a free port written
to PORT-FILE; requests are logged to PORT-FILE.log; CONFIG-FILE, read per request, holds {"used",
"reset", "weekly", "weeklyReset", "fault": ""|"no-figures"|"no-window"|"garbage"}."""
import http.server, json, os, sys, time

PORT_FILE, CONFIG_FILE = sys.argv[1], sys.argv[2]
REPLY = {"id": "msg_standin", "type": "message", "role": "assistant", "model": "claude-sonnet-4-5",
         "content": [], "stop_reason": None, "stop_sequence": None,
         "usage": {"input_tokens": 12, "output_tokens": 1}}
TEXT, BLOCK = {"type": "text_delta", "text": "Stand-in reply."}, {"type": "text", "text": ""}
STREAM = "".join(f"event: {data['type']}\ndata: {json.dumps(data)}\n\n" for data in [
    {"type": "message_start", "message": REPLY},
    {"type": "content_block_start", "index": 0, "content_block": BLOCK},
    {"type": "content_block_delta", "index": 0, "delta": TEXT},
    {"type": "content_block_stop", "index": 0},
    {"type": "message_delta", "delta": {"stop_reason": "end_turn", "stop_sequence": None},
     "usage": {"output_tokens": 4}},
    {"type": "message_stop"}]).encode()
MESSAGE = json.dumps({**REPLY, "content": [{"type": "text", "text": TEXT["text"]}],
                      "stop_reason": "end_turn", "usage": {**REPLY["usage"], "output_tokens": 4}})
MESSAGE = MESSAGE.encode()

def windows(f):
    return (("5h", "primary", 18000, f["used"], f["reset"]),
            ("7d", "secondary", 604800, f["weekly"], f["weeklyReset"]))

def claude_headers(f):
    p = "anthropic-ratelimit-unified-"
    headers = {p + "status": "allowed", p + "representative-claim": "five_hour",
               p + "reset": str(f["reset"])}
    for name, _, _, used, reset in windows(f):
        headers.update({f"{p}{name}-status": "rejected" if used >= 1 else "allowed",
                        f"{p}{name}-utilization": f"{used:g}", f"{p}{name}-reset": str(reset)})
    return {} if f["fault"] == "no-figures" else headers

def codex_usage(f):
    limits = {"allowed": f["used"] < 1, "limit_reached": f["used"] >= 1}
    limits.update({} if f["fault"] == "no-window" else {f"{kind}_window": {
        "used_percent": round(used * 100), "limit_window_seconds": seconds,
        "reset_after_seconds": reset - int(time.time()), "reset_at": reset}
        for _, kind, seconds, used, reset in windows(f)})
    usage = {"plan_type": "plus", "rate_limit": limits,
             "credits": {"has_credits": False, "unlimited": False, "balance": "0"}}
    return {k: v for k, v in usage.items() if k != "rate_limit" or f["fault"] != "no-figures"}

class StandIn(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    log_message = lambda self, *args: None
    def answer(self, status, body=b"{}", kind="application/json", headers={}):
        with open(PORT_FILE + ".log", "a") as log: print(self.command, self.path, status, file=log)
        self.send_response(status)
        for name, value in {**headers, "Content-Type": kind, "Content-Length": len(body)}.items():
            self.send_header(name, str(value))
        self.end_headers()
        self.wfile.write(b"" if self.command == "HEAD" else body)
    def do_HEAD(self): self.answer(200, b"")
    def do_POST(self):
        request = json.loads(self.rfile.read(int(self.headers.get("Content-Length", 0))) or b"{}")
        if not self.path.startswith("/v1/messages"): return self.answer(404)
        f = json.load(open(CONFIG_FILE))
        self.answer(200, *((b"<html>not a message</html>", "text/html") if f["fault"] == "garbage"
                           else (STREAM, "text/event-stream") if request.get("stream")
                           else (MESSAGE, "application/json")), claude_headers(f))
    def do_GET(self):
        if not self.path.startswith("/backend-api/wham/usage"): return self.answer(404)
        f = json.load(open(CONFIG_FILE))
        self.answer(200, b"{ not json" if f["fault"] == "garbage" else
                    json.dumps(codex_usage(f)).encode())

server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), StandIn)
with open(PORT_FILE + ".tmp", "w") as file:  # the port file appears whole, by a rename
    file.write(str(server.server_address[1]))
os.rename(PORT_FILE + ".tmp", PORT_FILE)
server.serve_forever()
