"""The Wi-Fi transfer server, black-box: `numbrel-cli serve` on loopback, spoken to over raw sockets so
that nothing a client library tidies up (paths, headers) hides what the server does."""
import base64
import hashlib
import os
import re
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

CLI = sys.argv.pop(1)


class Reader:
    """A socket's bytes with what was read past one response kept for the next."""

    def __init__(self, sock):
        self.sock, self.buffer = sock, b""

    def more(self):
        chunk = self.sock.recv(65536)
        self.buffer += chunk
        return bool(chunk)


def read_response(source, head_only=False):
    """Reads one response: (status, headers as a lower-case dict, body). None when the server closed."""
    reader = source if isinstance(source, Reader) else Reader(source)
    while b"\r\n\r\n" not in reader.buffer:
        if not reader.more():
            return None if not reader.buffer else (0, {}, reader.buffer)
    head, rest = reader.buffer.split(b"\r\n\r\n", 1)
    lines = head.decode("latin-1").split("\r\n")
    status = int(lines[0].split()[1])
    headers = {}
    for line in lines[1:]:
        key, _, value = line.partition(":")
        headers.setdefault(key.strip().lower(), []).append(value.strip())
    length = 0 if head_only else int(headers.get("content-length", ["0"])[0])
    reader.buffer = rest
    while len(reader.buffer) < length and reader.more():
        pass
    body, reader.buffer = reader.buffer[:length], reader.buffer[length:]
    return status, {k: v[0] if len(v) == 1 else v for k, v in headers.items()}, body


class Server:
    def __init__(self, docs, *args):
        self.proc = subprocess.Popen(
            [CLI, "--documents", docs, "serve", "--bind", "127.0.0.1", *args],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            env=dict(os.environ, XDG_CONFIG_HOME=docs + "/.config"))
        self.url = self.proc.stdout.readline().strip()
        m = re.match(r"http://127\.0\.0\.1:(\d+)/$", self.url)
        assert m, self.url
        self.port = int(m.group(1))

    def connect(self, source="127.0.0.1"):
        s = socket.create_connection(("127.0.0.1", self.port), timeout=10, source_address=(source, 0))
        return s

    def request(self, raw, head_only=False):
        with self.connect() as s:
            s.sendall(raw if isinstance(raw, bytes) else raw.encode("latin-1"))
            return read_response(s, head_only)

    def get(self, path, *headers, method="GET"):
        extra = "".join(h + "\r\n" for h in headers)
        return self.request(f"{method} {path} HTTP/1.1\r\nHost: 127.0.0.1:{self.port}\r\n{extra}Connection: close\r\n\r\n",
                            head_only=method == "HEAD")

    def rss_kb(self, field="VmRSS"):
        with open(f"/proc/{self.proc.pid}/status") as f:
            for line in f:
                if line.startswith(field + ":"):
                    return int(line.split()[1])
        return 0

    def stop(self):
        self.proc.send_signal(signal.SIGTERM)
        return self.proc.wait(timeout=10)


def form(boundary, filename, content, button=True):
    body = (f"--{boundary}\r\nContent-Disposition: form-data; name=\"file\"; filename=\"{filename}\"\r\n"
            "Content-Type: application/octet-stream\r\n\r\n").encode() + content
    if button:
        body += f"\r\n--{boundary}\r\nContent-Disposition: form-data; name=\"button\"\r\n\r\nCopy".encode()
    return body + f"\r\n--{boundary}--\r\n".encode()


def post_head(port, length, boundary, *headers):
    extra = "".join(h + "\r\n" for h in headers)
    return (f"POST / HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\nContent-Type: multipart/form-data; boundary={boundary}\r\n"
            f"Content-Length: {length}\r\n{extra}Connection: close\r\n\r\n").encode()


class ServerCase(unittest.TestCase):
    """A Documents folder in a scratch folder, and the servers started on it, stopped afterwards."""

    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.docs = os.path.join(self.tmp.name, "Documents")
        os.makedirs(self.docs)
        self.servers = []

    def tearDown(self):
        for s in self.servers:
            if s.proc.poll() is None:
                s.proc.kill()
            s.proc.wait()
            s.proc.stdout.close()
            s.proc.stderr.close()
        self.tmp.cleanup()

    def serve(self, *args):
        s = Server(self.docs, *args)
        self.servers.append(s)
        return s


class Transfer(ServerCase):
    def setUp(self):
        super().setUp()
        with open(os.path.join(self.tmp.name, "secret.txt"), "w") as f:
            f.write("the secret beside the folder")
        self.data = bytes(range(256)) * 4 + b"x" * 512  # 1536 bytes
        with open(os.path.join(self.docs, "nb20261101@080000.bak"), "wb") as f:
            f.write(self.data)

    def names(self):
        return sorted(os.listdir(self.docs))

    def test_index_files_and_ranges(self):
        s = self.serve()
        status, headers, body = s.get("/")
        self.assertEqual(status, 200)
        self.assertIn(b'<a href="nb20261101@080000.bak" type="application/octet-stream">nb20261101@080000.bak</a>'
                      b' (     1.5 Kb, ', body)
        self.assertTrue(body.endswith(b'value="Copy" /></label></form></body></html>'))
        status, _, body = s.get("/no-such-file.bak")
        self.assertEqual(status, 200, "a path that is no file gets the index page")
        self.assertIn(b"No backups found", body)

        status, headers, body = s.get("/nb20261101@080000.bak")
        self.assertEqual((status, body), (200, self.data))
        self.assertEqual(headers["accept-ranges"], "bytes")
        etag, modified = headers["etag"], headers["last-modified"]

        status, headers, _ = s.get("/nb20261101@080000.bak", method="HEAD")
        self.assertEqual((status, headers["content-length"]), (200, "1536"))

        cases = [("bytes=0-9", 206, "bytes 0-9/1536", self.data[:10]),
                 ("bytes=-10", 206, "bytes 1526-1535/1536", self.data[-10:]),
                 ("bytes=1530-", 206, "bytes 1530-1535/1536", self.data[1530:]),
                 ("bytes=1500-99999", 206, "bytes 1500-1535/1536", self.data[1500:]),
                 ("bytes=1536-", 416, "bytes */1536", None),
                 ("bytes=5-1", 200, None, self.data),
                 ("pages=1-2", 200, None, self.data)]
        for header, want, content_range, content in cases:
            status, headers, body = s.get("/nb20261101@080000.bak", "Range: " + header)
            self.assertEqual(status, want, header)
            self.assertEqual(headers.get("content-range"), content_range, header)
            if content is not None:
                self.assertEqual(body, content, header)

        status, headers, body = s.get("/nb20261101@080000.bak", "Range: bytes=0-1,10-12,-2")
        self.assertEqual(status, 206)
        boundary = re.match(r"multipart/byteranges; boundary=(\S+)$", headers["content-type"]).group(1)
        parts = body.split(b"--" + boundary.encode())
        self.assertEqual(parts[-1], b"--\r\n")
        pieces = [(re.search(rb"Content-Range: bytes (\d+)-(\d+)/1536", p).groups(), p.split(b"\r\n\r\n", 1)[1][:-2])
                  for p in parts[1:-1]]
        self.assertEqual(pieces, [((b"0", b"1"), self.data[0:2]), ((b"10", b"12"), self.data[10:13]),
                                  ((b"1534", b"1535"), self.data[1534:])])
        self.assertEqual(s.get("/nb20261101@080000.bak", "Range: bytes=0-,0-")[0], 200)

        # If-Range: only the validators of the file as it is now let a range through.
        self.assertEqual(s.get("/nb20261101@080000.bak", "Range: bytes=0-9", "If-Range: " + etag)[0], 206)
        self.assertEqual(s.get("/nb20261101@080000.bak", "Range: bytes=0-9", "If-Range: " + modified)[0], 206)
        self.assertEqual(s.get("/nb20261101@080000.bak", "Range: bytes=0-9", 'If-Range: "other"')[0], 200)
        self.assertEqual(s.get("/nb20261101@080000.bak", "Range: bytes=0-9", "If-Range: W/" + etag)[0], 200)
        self.assertEqual(s.stop(), 0)

    def test_nothing_outside_the_folder(self):
        os.symlink(os.path.join(self.tmp.name, "secret.txt"), os.path.join(self.docs, "link.bak"))
        os.symlink(self.tmp.name, os.path.join(self.docs, "up"))
        s = self.serve()
        for target in ["/../secret.txt", "/%2e%2e/secret.txt", "/%2E%2E%2Fsecret.txt", "/..%2fsecret.txt",
                       "/%252e%252e/secret.txt", "/..\\secret.txt", "/..%5csecret.txt", "/sub/../../secret.txt",
                       "/link.bak", "/up/secret.txt", "/up/../../secret.txt", "/secret.txt%00.bak",
                       f"http://127.0.0.1:{s.port}/../secret.txt", "//../secret.txt", "/./../secret.txt",
                       "/" + "../" * 20 + "secret.txt", "/%c0%ae%c0%ae/secret.txt"]:
            response = s.request(f"GET {target} HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n")
            self.assertIsNotNone(response, target)
            self.assertNotIn(b"the secret", response[2], target)

        # Another site's name in Host (DNS rebinding) and another site's form are refused.
        self.assertEqual(s.request("GET / HTTP/1.1\r\nHost: attacker.example\r\n\r\n")[0], 421)
        body = form("b", "evil.bak", b"data")
        refused = s.request(post_head(s.port, len(body), "b", "Origin: http://attacker.example") + body)
        self.assertEqual(refused[0], 403)
        allowed = s.request(post_head(s.port, len(body), "b", f"Origin: http://127.0.0.1:{s.port}") + body)
        self.assertEqual(allowed[0], 200)
        self.assertEqual(self.names(), ["evil.bak", "link.bak", "nb20261101@080000.bak", "up"])

    def test_uploads(self):
        s = self.serve()
        content = os.urandom(5000) + b"\r\n--"
        body = form("----WebKitFormBoundary7MA4YWxk", "C:\\Users\\me\\Desktop\\nb20261102@090000.bak", content)
        status, _, page = s.request(post_head(s.port, len(body), "----WebKitFormBoundary7MA4YWxk") + body)
        self.assertEqual(status, 200)
        self.assertIn(b"nb20261102@090000.bak</a>", page, "the answer lists the new file")
        with open(os.path.join(self.docs, "nb20261102@090000.bak"), "rb") as f:
            self.assertEqual(f.read(), content)

        # The boundary line inside the content: cut at its last delimiter before the trailer.
        body = form("XyZ", "inside.csv", b"a\r\n--XyZ b")
        s.request(post_head(s.port, len(body), "XyZ") + body)
        with open(os.path.join(self.docs, "inside.csv"), "rb") as f:
            self.assertEqual(f.read(), b"a\r\n--XyZ b")

        # An empty file field and names that would hide or climb: nothing written.
        for name in ["", ".hidden", ".."]:
            body = form("b", name, b"data")
            self.assertEqual(s.request(post_head(s.port, len(body), "b") + body)[0], 200, name)
        self.assertEqual(self.names(), ["inside.csv", "nb20261101@080000.bak", "nb20261102@090000.bak"])

        # Cut off halfway over an existing file: the old file stays whole, nothing temporary is left.
        body = form("b", "nb20261101@080000.bak", os.urandom(1 << 20))
        with s.connect() as c:
            c.sendall(post_head(s.port, len(body), "b") + body[: len(body) // 2])
            time.sleep(0.2)
        deadline = time.time() + 5
        while time.time() < deadline and any(n.startswith(".") for n in os.listdir(self.docs)):
            time.sleep(0.05)
        with open(os.path.join(self.docs, "nb20261101@080000.bak"), "rb") as f:
            self.assertEqual(f.read(), self.data)
        self.assertEqual(self.names(), ["inside.csv", "nb20261101@080000.bak", "nb20261102@090000.bak"])
        self.assertEqual(s.stop(), 0)

    def test_limits(self):
        s = self.serve("--upload-limit", "100000", "--idle-timeout", "2", "--header-timeout", "1")
        body = form("b", "big.bak", b"x" * 200000)
        self.assertEqual(s.request(post_head(s.port, len(body), "b") + body)[0], 413)
        # Without a length the body is counted as it comes.
        chunked = (f"POST / HTTP/1.1\r\nHost: 127.0.0.1\r\nTransfer-Encoding: chunked\r\n"
                   f"Content-Type: multipart/form-data; boundary=b\r\n\r\n{len(body):x}\r\n").encode() + body + b"\r\n0\r\n\r\n"
        try:
            status = s.request(chunked)[0]
        except ConnectionResetError:  # the server closed with the rest of the body unread
            status = 413
        self.assertEqual(status, 413)
        self.assertEqual(self.names(), ["nb20261101@080000.bak"])

        self.assertEqual(s.request(f"GET /{'a' * 300000} HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n")[0], 414)
        headers = "".join(f"X-Filler-{i}: {'v' * 1000}\r\n" for i in range(300))
        self.assertEqual(s.request(f"GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n{headers}\r\n")[0], 431)

        # Three pipelined requests come back in order on one connection.
        with s.connect() as c:
            req = f"GET /nb20261101@080000.bak HTTP/1.1\r\nHost: 127.0.0.1\r\nRange: bytes=%d-%d\r\n\r\n"
            c.sendall(b"".join((req % (i, i)).encode() for i in (0, 1, 2)))
            reader = Reader(c)
            got = [read_response(reader)[::2] for _ in range(3)]
            self.assertEqual(got, [(206, self.data[i:i + 1]) for i in (0, 1, 2)])

        # A connection that says nothing, and one that trickles its headers, are both closed.
        quiet = s.connect()
        slow = s.connect()
        started = time.time()
        slow.sendall(b"GET / HTTP/1.1\r\n")
        closed = None
        while time.time() - started < 6:
            try:
                slow.sendall(b"X")
            except OSError:
                closed = time.time() - started
                break
            time.sleep(0.2)
        self.assertIsNotNone(closed, "a client sending a byte at a time keeps no connection")
        quiet.settimeout(6)
        self.assertEqual(quiet.recv(1), b"", "an idle connection is closed")
        self.assertLess(time.time() - started, 6)

    def test_many_idle_connections_do_not_lock_others_out(self):
        s = self.serve("--idle-timeout", "30", "--header-timeout", "30")
        idle = []
        for _ in range(200):
            try:
                idle.append(s.connect())
            except OSError:
                break
        time.sleep(0.3)
        with s.connect(source="127.0.0.2") as c:
            c.sendall(f"GET /nb20261101@080000.bak HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n".encode())
            status, _, body = read_response(c)
        self.assertEqual((status, body), (200, self.data))
        for c in idle:
            c.close()

    def test_large_upload_keeps_memory_flat(self):
        s = self.serve()
        size = int(os.environ.get("NUMBREL_BIG_UPLOAD", str(10**9)))  # 1 GB, under the 1 GiB cap with its form
        block = os.urandom(1 << 20)
        content_len = size
        head = (f"--b\r\nContent-Disposition: form-data; name=\"file\"; filename=\"big.bin\"\r\n\r\n").encode()
        tail = b"\r\n--b--\r\n"
        before = s.rss_kb()
        with s.connect() as c:
            c.settimeout(120)  # the trim reads the whole file back when the form has no other field
            c.sendall(post_head(s.port, len(head) + content_len + len(tail), "b") + head)
            sent = 0
            while sent < content_len:
                n = min(len(block), content_len - sent)
                c.sendall(block[:n])
                sent += n
            c.sendall(tail)
            status, _, _ = read_response(c)
        self.assertEqual(status, 200)
        peak = s.rss_kb("VmHWM")
        self.assertEqual(os.path.getsize(os.path.join(self.docs, "big.bin")), size)
        self.assertLess(peak - before, 16 * 1024, f"resident memory grew from {before} kB to a peak of {peak} kB")
        os.remove(os.path.join(self.docs, "big.bin"))


# RFC 7616, section 3.9.1: the "Circle of Life" example, to check the digest client below.
def digest_response(algorithm, user, realm, password, method, uri, nonce, nc, cnonce, qop="auth"):
    h = (lambda s: hashlib.md5(s.encode()).hexdigest()) if algorithm == "MD5" else \
        (lambda s: hashlib.sha256(s.encode()).hexdigest())
    ha1 = h(f"{user}:{realm}:{password}")
    ha2 = h(f"{method}:{uri}")
    return h(f"{ha1}:{nonce}:{nc}:{cnonce}:{qop}:{ha2}")


class Authentication(ServerCase):
    def setUp(self):
        super().setUp()
        with open(os.path.join(self.docs, "a.bak"), "wb") as f:
            f.write(b"backup")

    def test_the_digest_client_agrees_with_rfc_7616(self):
        args = ("Mufasa", "http-auth@example.org", "Circle of Life", "GET", "/dir/index.html",
                "7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v", "00000001",
                "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ")
        self.assertEqual(digest_response("MD5", *args), "8ca523f5e9506fed4657c9700eebdbec")
        self.assertEqual(digest_response("SHA-256", *args),
                         "753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1")
        # RFC 7617, section 2: the basic example.
        self.assertEqual(base64.b64encode(b"Aladdin:open sesame").decode(), "QWxhZGRpbjpvcGVuIHNlc2FtZQ==")

    def digest_get(self, server, algorithm, password, user="Mufasa"):
        status, headers, _ = server.get("/a.bak")
        self.assertEqual(status, 401)
        offers = headers["www-authenticate"]
        offers = offers if isinstance(offers, list) else [offers]
        self.assertTrue(any(o.startswith("Basic ") for o in offers), offers)
        digest = [o for o in offers if o.startswith("Digest ")]
        self.assertEqual(len(digest), 1, offers)
        fields = {k: a or b for k, a, b in re.findall(r'(\w+)=(?:"([^"]*)"|([^,\s]*))', digest[0])}
        self.assertEqual(fields.get("algorithm", "MD5").upper(), algorithm)
        cnonce, nc = "0a4f113b", "00000001"
        response = digest_response(algorithm, user, fields["realm"], password, "GET", "/a.bak", fields["nonce"], nc,
                                   cnonce)
        auth = (f'Digest username="{user}", realm="{fields["realm"]}", nonce="{fields["nonce"]}", uri="/a.bak", '
                f'algorithm={algorithm}, response="{response}", opaque="{fields["opaque"]}", qop=auth, nc={nc}, '
                f'cnonce="{cnonce}"')
        return server.get("/a.bak", "Authorization: " + auth)

    def test_password_basic_and_digest(self):
        for algorithm in ["MD5", "SHA-256"]:
            with self.subTest(algorithm=algorithm):
                server = self.serve("--password", "open sesame", "--digest", algorithm.lower())
                self.assertEqual(self.digest_get(server, algorithm, "open sesame")[:3:2], (200, b"backup"))
                self.assertEqual(self.digest_get(server, algorithm, "wrong")[0], 401)
                basic = base64.b64encode(b"Aladdin:open sesame").decode()
                self.assertEqual(server.get("/a.bak", "Authorization: Basic " + basic)[0], 200)
                wrong = base64.b64encode(b"Aladdin:open sesam").decode()
                self.assertEqual(server.get("/a.bak", "Authorization: Basic " + wrong)[0], 401)
                body = form("b", "x.bak", b"data")
                self.assertEqual(server.request(post_head(server.port, len(body), "b") + body)[0], 401)
                self.assertFalse(os.path.exists(os.path.join(self.docs, "x.bak")))
                self.assertEqual(server.stop(), 0)


if __name__ == "__main__":
    unittest.main()
