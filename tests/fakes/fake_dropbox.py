#!/usr/bin/env python3
"""A Dropbox HTTP API v2 stand-in on loopback, for the client's tests.

Serves the OAuth 2 authorize page and token endpoint, list_folder (+continue), upload, upload
sessions, download, delete_v2 and token revoke, keeping files in memory. Every request is checked the
way Dropbox checks it (bearer token, Dropbox-API-Arg as ASCII JSON, the PKCE verifier against the
challenge) and logged. POST /_control with JSON arranges faults for the next calls:
  {"expire": true}      the next call answers 401 expired_access_token
  {"limit": N}          the next N calls answer 429 with Retry-After: 1
  {"fail": N}           the next N calls answer 500
  {"damage": true}      the next download's bytes do not match its content_hash
  {"revoke": true}      the refresh token is refused (invalid_grant) and access tokens with it
  {"page": N}           list_folder answers N entries a page
  {"folder": PATH}      makes a folder; {"file": PATH, "text": ...} puts a file
GET /_log answers the log as JSON lines.

Usage: fake_dropbox.py PORT_FILE [--cert CERT --key KEY]
"""
import base64
import hashlib
import json
import os
import secrets
import ssl
import sys
import threading
import urllib.parse
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

KEY = "testkey"


def content_hash(data):
    blocks = b"".join(hashlib.sha256(data[i:i + (4 << 20)]).digest() for i in range(0, len(data), 4 << 20))
    return hashlib.sha256(blocks).hexdigest()


class State:
    def __init__(self):
        self.lock = threading.Lock()
        self.files = {}        # lower-case path -> (display path, bytes)
        self.folders = {}      # lower-case path -> display path
        self.sessions = {}     # id -> bytearray
        self.challenges = {}   # code -> (challenge, client_id)
        self.access = set()
        self.refresh = set()
        self.expire = False
        self.limit = 0
        self.fail = 0
        self.damage = False
        self.page = 1000
        self.log = []


STATE = State()


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def reply(self, status, body=b"", headers=None, kind="application/json"):
        if isinstance(body, (dict, list)):
            body = json.dumps(body).encode()
        elif isinstance(body, str):
            body = body.encode()
        self.send_response(status)
        for name, value in (headers or {}).items():
            self.send_header(name, value)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def error(self, status, tag_tree, summary):
        self.reply(status, {"error_summary": summary, "error": tag_tree})

    def body(self):
        length = int(self.headers.get("Content-Length", "0"))
        return self.rfile.read(length) if length else b""

    def do_GET(self):
        url = urllib.parse.urlsplit(self.path)
        if url.path == "/_log":
            with STATE.lock:
                return self.reply(200, "\n".join(json.dumps(e) for e in STATE.log), kind="text/plain")
        if url.path == "/oauth2/authorize":
            q = urllib.parse.parse_qs(url.query)
            ok = (q.get("response_type") == ["code"] and q.get("code_challenge_method") == ["S256"]
                  and q.get("token_access_type") == ["offline"] and "code_challenge" in q)
            if not ok:
                return self.reply(400, "bad authorize request", kind="text/plain")
            code = "code-" + secrets.token_hex(8)
            with STATE.lock:
                STATE.challenges[code] = (q["code_challenge"][0], q["client_id"][0])
                STATE.log.append({"path": url.path, "client_id": q["client_id"][0]})
            return self.reply(200, code, kind="text/plain")
        self.reply(404, "not found", kind="text/plain")

    def do_POST(self):
        url = urllib.parse.urlsplit(self.path)
        data = self.body()
        if url.path == "/_control":
            return self.control(json.loads(data))
        entry = {"path": url.path, "arg": self.headers.get("Dropbox-API-Arg"),
                 "auth": self.headers.get("Authorization"), "type": self.headers.get("Content-Type")}
        with STATE.lock:
            STATE.log.append(entry)
        if url.path == "/oauth2/token":
            return self.token(urllib.parse.parse_qs(data.decode()))
        with STATE.lock:
            if STATE.limit > 0:
                STATE.limit -= 1
                return self.error(429, {".tag": "too_many_requests"}, "too_many_requests/")
            if STATE.fail > 0:
                STATE.fail -= 1
                return self.reply(500, "try again", kind="text/plain")
            auth = self.headers.get("Authorization", "")
            token = auth[len("Bearer "):] if auth.startswith("Bearer ") else ""
            if token not in STATE.access:
                return self.error(401, {".tag": "invalid_access_token"}, "invalid_access_token/")
            if STATE.expire:
                STATE.expire = False
                STATE.access.discard(token)
                return self.error(401, {".tag": "expired_access_token"}, "expired_access_token/")
        if url.path == "/2/auth/token/revoke":
            with STATE.lock:
                STATE.access.discard(token)
                STATE.refresh.clear()
            return self.reply(200, "null")
        arg = self.header_arg()
        if arg is False:
            return self.reply(400, "Dropbox-API-Arg is not ASCII JSON", kind="text/plain")
        if url.path in ("/2/files/list_folder", "/2/files/list_folder/continue", "/2/files/delete_v2"):
            if self.headers.get("Content-Type") != "application/json":
                return self.reply(400, "Content-Type must be application/json", kind="text/plain")
            request = json.loads(data)
            return getattr(self, url.path.rsplit("/", 1)[1])(request)
        if url.path in ("/2/files/upload", "/2/files/upload_session/start",
                        "/2/files/upload_session/append_v2", "/2/files/upload_session/finish"):
            if self.headers.get("Content-Type") != "application/octet-stream":
                return self.reply(400, "Content-Type must be application/octet-stream", kind="text/plain")
            return self.upload(url.path.rsplit("/", 1)[1], arg, data)
        if url.path == "/2/files/download":
            return self.download(arg)
        self.reply(404, "no such endpoint", kind="text/plain")

    def header_arg(self):
        raw = self.headers.get("Dropbox-API-Arg")
        if raw is None:
            return None
        if any(ord(c) > 0x7E for c in raw):
            return False
        try:
            return json.loads(raw)
        except ValueError:
            return False

    def control(self, c):
        with STATE.lock:
            STATE.expire = c.get("expire", STATE.expire)
            STATE.limit = c.get("limit", STATE.limit)
            STATE.fail = c.get("fail", STATE.fail)
            STATE.damage = c.get("damage", STATE.damage)
            STATE.page = c.get("page", STATE.page)
            if c.get("revoke"):
                STATE.refresh.clear()
                STATE.access.clear()
            if "folder" in c:
                STATE.folders[c["folder"].lower()] = c["folder"]
            if "file" in c:
                STATE.files[c["file"].lower()] = (c["file"], c.get("text", "").encode())
        self.reply(200, "{}")

    def token(self, form):
        one = lambda k: form.get(k, [""])[0]
        with STATE.lock:
            if one("grant_type") == "authorization_code":
                code = one("code")
                known = STATE.challenges.pop(code, None)
                verifier = one("code_verifier")
                challenge = base64.urlsafe_b64encode(hashlib.sha256(verifier.encode()).digest()).rstrip(b"=")
                if not known or known[0] != challenge.decode() or known[1] != one("client_id"):
                    return self.reply(400, {"error": "invalid_grant", "error_description": "code doesn't exist or has expired"})
                refresh = "refresh-" + secrets.token_hex(8)
                STATE.refresh.add(refresh)
            elif one("grant_type") == "refresh_token":
                refresh = one("refresh_token")
                if refresh not in STATE.refresh or one("client_id") != KEY:
                    return self.reply(400, {"error": "invalid_grant", "error_description": "refresh token is invalid or revoked"})
            else:
                return self.reply(400, {"error": "unsupported_grant_type"})
            access = "access-" + secrets.token_hex(8)
            STATE.access.add(access)
        answer = {"access_token": access, "token_type": "bearer", "expires_in": 14400}
        if one("grant_type") == "authorization_code":
            answer["refresh_token"] = refresh
        self.reply(200, answer)

    def entries(self, folder):
        out = []
        prefix = folder.lower() + "/"
        for low, display in STATE.folders.items():
            if low.startswith(prefix) and "/" not in low[len(prefix):]:
                out.append({".tag": "folder", "name": display.rsplit("/", 1)[1], "path_display": display,
                            "path_lower": low, "id": "id:" + low})
        for low, (display, data) in STATE.files.items():
            if low.startswith(prefix) and "/" not in low[len(prefix):]:
                out.append({".tag": "file", "name": display.rsplit("/", 1)[1], "path_display": display,
                            "path_lower": low, "id": "id:" + low, "size": len(data),
                            "server_modified": "2026-11-23T09:00:00Z", "content_hash": content_hash(data)})
        return sorted(out, key=lambda e: e["path_lower"])

    def page_of(self, items, start):
        end = start + STATE.page
        answer = {"entries": items[start:end], "cursor": json.dumps(items and [start + STATE.page]),
                  "has_more": end < len(items)}
        self.reply(200, answer)

    def list_folder(self, request):
        folder = request.get("path")
        with STATE.lock:
            if folder != "" and folder.lower() not in STATE.folders:
                return self.error(409, {".tag": "path", "path": {".tag": "not_found"}}, "path/not_found/")
            items = self.entries(folder)
            STATE.listing = items
            self.page_of(items, 0)

    def delete_v2(self, request):
        with STATE.lock:
            low = request.get("path", "").lower()
            if low not in STATE.files:
                return self.error(409, {".tag": "path_lookup", "path_lookup": {".tag": "not_found"}},
                                  "path_lookup/not_found/")
            display, data = STATE.files.pop(low)
        self.reply(200, {"metadata": {".tag": "file", "path_display": display}})

    def upload(self, step, arg, data):
        with STATE.lock:
            if step == "start":
                sid = "session-" + secrets.token_hex(4)
                STATE.sessions[sid] = bytearray(data)
                return self.reply(200, {"session_id": sid})
            if step in ("append_v2", "finish"):
                cursor = arg["cursor"]
                buf = STATE.sessions.get(cursor["session_id"])
                if buf is None or cursor["offset"] != len(buf):
                    return self.error(409, {".tag": "incorrect_offset"}, "incorrect_offset/")
                buf.extend(data)
                if step == "append_v2":
                    return self.reply(200, "null")
                data = bytes(STATE.sessions.pop(cursor["session_id"]))
                arg = arg["commit"]
            path = arg["path"]
            if arg.get("mode") != "overwrite":
                return self.reply(400, "mode must be overwrite here", kind="text/plain")
            STATE.files[path.lower()] = (path, bytes(data))
        self.reply(200, {"name": path.rsplit("/", 1)[1], "path_display": path, "size": len(data),
                         "content_hash": content_hash(data)})

    def download(self, arg):
        with STATE.lock:
            found = STATE.files.get(arg.get("path", "").lower())
            if not found:
                return self.error(409, {".tag": "path", "path": {".tag": "not_found"}}, "path/not_found/")
            display, data = found
            meta = {"name": display.rsplit("/", 1)[1], "path_display": display, "size": len(data),
                    "content_hash": content_hash(data)}
            if STATE.damage:
                STATE.damage = False
                data = data[:-1] + bytes([data[-1] ^ 1]) if data else data
        self.reply(200, data, headers={"Dropbox-API-Result": json.dumps(meta, ensure_ascii=True)},
                   kind="application/octet-stream")


# list_folder/continue is a method name Python cannot spell.
def _continue(self, request):
    with STATE.lock:
        start = json.loads(request["cursor"])[0]
        self.page_of(STATE.listing, start)


setattr(Handler, "continue", _continue)


def main():
    port_file = sys.argv[1]
    server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    if "--cert" in sys.argv:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(sys.argv[sys.argv.index("--cert") + 1], sys.argv[sys.argv.index("--key") + 1])
        server.socket = context.wrap_socket(server.socket, server_side=True)
    with open(port_file + ".tmp", "w") as f:
        f.write(str(server.server_address[1]))
    os.rename(port_file + ".tmp", port_file)
    server.serve_forever()


if __name__ == "__main__":
    main()
