#!/usr/bin/env python3
"""A price comparison service stand-in on loopback, for the comparison's tests.

The first path segment chooses the reply, so one service answers every variant:
POST /VARIANT/energy/ios/calc_ios.html?db=... with a form body. Variants:
  ok        three results, the cheapest price and a link (LF endings)
  crlf      the same with CR LF endings
  count0    no results (a price and a link all the same)
  noprice   results and a link, but no price
  linkonly  a link alone
  garbage   64 KiB of random bytes
  huge      the result, then 64 MB of padding (more than loopback buffers hold)
  status500 the result in an error page
  hostile   the result, and a link that is no web address
  slow      waits up to 20 s before answering; stops early when the client goes away
Every request is logged: method, path, query, content type and body; for huge and slow, whether the
client went away before the whole reply was written. GET /_log answers the log as JSON lines, and
PORT_FILE.log holds it too, rewritten at every change.

Usage: fake_prices.py PORT_FILE
"""
import json
import os
import select
import socket
import sys
import threading
import time
import urllib.parse
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

PAGE = "/energy/ios/calc_ios.html"
LINK = "https://compare.example/quote?db=%s&ref=42"
LOG = []
LOCK = threading.Lock()
LOG_FILE = None


def record(entry=None, **changes):
    """Adds an entry to the log, or changes one, and writes the log file."""
    with LOCK:
        if changes:
            entry.update(changes)
        else:
            LOG.append(entry)
        with open(LOG_FILE + ".tmp", "w") as f:
            f.write("".join(json.dumps(e) + "\n" for e in LOG))
        os.replace(LOG_FILE + ".tmp", LOG_FILE)


def result(db, eol="\n"):
    return eol.join(["<html>", "resultsCount=3", "newPoundsPerAnnum=612.34", "searchURL=" + LINK % db, "</html>"])


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def do_GET(self):
        if self.path != "/_log":
            return self.answer(404, b"")
        with LOCK:
            text = "".join(json.dumps(e) + "\n" for e in LOG)
        self.answer(200, text.encode())

    def answer(self, status, body):
        self.send_response(status)
        self.send_header("Content-Type", "text/html")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def gone(self, seconds):
        """Waits up to seconds; True as soon as the client has closed its side."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            ready, _, _ = select.select([self.connection], [], [], 0.1)
            if ready and not self.connection.recv(1, socket.MSG_PEEK):  # nothing left to read: closed
                return True
        return False

    def do_POST(self):
        url = urllib.parse.urlsplit(self.path)
        length = int(self.headers.get("Content-Length", "0"))
        body = self.rfile.read(length).decode("latin-1")
        variant, _, page = url.path.lstrip("/").partition("/")
        entry = {"method": "POST", "variant": variant, "page": "/" + page, "query": url.query,
                 "type": self.headers.get("Content-Type", ""), "body": body}
        record(entry)
        db = urllib.parse.parse_qs(url.query).get("db", ["?"])[0]
        if "/" + page != PAGE:
            return self.answer(404, b"not here")
        if variant == "ok":
            return self.answer(200, result(db).encode())
        if variant == "crlf":
            return self.answer(200, result(db, "\r\n").encode())
        if variant == "count0":
            return self.answer(200, result(db).replace("resultsCount=3", "resultsCount=0").encode())
        if variant == "noprice":
            return self.answer(200, ("resultsCount=3\nsearchURL=" + LINK % db + "\n").encode())
        if variant == "linkonly":
            return self.answer(200, ("searchURL=" + LINK % db).encode())
        if variant == "garbage":
            return self.answer(200, os.urandom(64 << 10))
        if variant == "status500":
            return self.answer(500, result(db).encode())
        if variant == "hostile":
            return self.answer(200, result(db).replace(LINK % db, "javascript:alert(1)").encode())
        if variant == "huge":
            head = (result(db) + "\n").encode()
            total = len(head) + (64 << 20)
            self.send_response(200)
            self.send_header("Content-Length", str(total))
            self.end_headers()
            try:
                self.wfile.write(head)
                for _ in range(64 << 4):
                    self.wfile.write(b"x" * (64 << 10))
                record(entry, whole=True)
            except OSError:
                record(entry, whole=False)
            return
        if variant == "slow":
            gone = self.gone(20)
            record(entry, gone=gone)
            if gone:
                self.close_connection = True
                return
            return self.answer(200, result(db).encode())
        self.answer(404, b"no such variant")


def main():
    global LOG_FILE
    port_file = sys.argv[1]
    LOG_FILE = port_file + ".log"
    server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.daemon_threads = True
    with open(port_file + ".tmp", "w") as f:
        f.write(str(server.server_address[1]))
    os.rename(port_file + ".tmp", port_file)
    server.serve_forever()


if __name__ == "__main__":
    main()
