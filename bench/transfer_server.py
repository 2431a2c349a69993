#!/usr/bin/env python3
"""The Wi-Fi transfer server side by side with nginx (one worker, sendfile on) serving the same folder in
the same run: requests per second for 200 KB downloads and for single Range requests (wrk), then 50 MB
uploads through the form (GB/s) with the server's peak resident memory growth.

usage: bench/transfer_server.py BUILD_DIR [SECONDS]
Needs wrk and nginx (Debian packages wrk, nginx-light). Each wrk run alternates between the two servers
ROUNDS times; medians and ratios are printed.
"""
import os
import re
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time

ROUNDS = 3
CONNECTIONS = 8


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def wait_for(port):
    for _ in range(200):
        try:
            socket.create_connection(("127.0.0.1", port), timeout=0.1).close()
            return
        except OSError:
            time.sleep(0.05)
    raise SystemExit("nothing listens on %d" % port)


def wrk(url, seconds, *headers):
    command = ["wrk", "-t1", "-c%d" % CONNECTIONS, "-d%ds" % seconds]
    for h in headers:
        command += ["-H", h]
    out = subprocess.run(command + [url], capture_output=True, text=True, check=True).stdout
    m = re.search(r"Requests/sec:\s+([\d.]+)", out)
    errors = re.search(r"Non-2xx or 3xx responses: (\d+)", out)
    if errors:
        raise SystemExit("%s answered %s errors:\n%s" % (url, errors.group(1), out))
    return float(m.group(1))


def rss_kb(pid, field):
    with open("/proc/%d/status" % pid) as f:
        for line in f:
            if line.startswith(field + ":"):
                return int(line.split()[1])
    return 0


def upload(port, size, rounds):
    """Posts a file of size bytes through the form rounds times; the best GB/s."""
    block = os.urandom(1 << 20)
    head = b'--b\r\nContent-Disposition: form-data; name="file"; filename="upload.bin"\r\n\r\n'
    tail = b"\r\n--b\r\nContent-Disposition: form-data; name=\"button\"\r\n\r\nCopy\r\n--b--\r\n"
    best = 0.0
    for _ in range(rounds):
        with socket.create_connection(("127.0.0.1", port)) as c:
            start = time.perf_counter()
            c.sendall(("POST / HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: multipart/form-data; boundary=b\r\n"
                       "Content-Length: %d\r\nConnection: close\r\n\r\n" % (len(head) + size + len(tail))).encode())
            c.sendall(head)
            sent = 0
            while sent < size:
                n = min(len(block), size - sent)
                c.sendall(block[:n])
                sent += n
            c.sendall(tail)
            reply = b""
            while True:
                chunk = c.recv(65536)
                if not chunk:
                    break
                reply += chunk
            elapsed = time.perf_counter() - start
        if not reply.startswith(b"HTTP/1.1 200"):
            raise SystemExit("upload failed: %r" % reply[:200])
        best = max(best, size / elapsed / 1e9)
    return best


def main():
    build = sys.argv[1]
    seconds = int(sys.argv[2]) if len(sys.argv) > 2 else 5
    cli = os.path.join(build, "src/cli/numbrel-cli")
    with tempfile.TemporaryDirectory() as tmp:
        docs = os.path.join(tmp, "Documents")
        os.makedirs(docs)
        os.chmod(tmp, 0o755)  # nginx's worker runs as another user
        with open(os.path.join(docs, "nb20261101@080000.bak"), "wb") as f:
            f.write(os.urandom(200 * 1024))
        os.chmod(os.path.join(docs, "nb20261101@080000.bak"), 0o644)

        nginx_port = free_port()
        conf = os.path.join(tmp, "nginx.conf")
        with open(conf, "w") as f:
            f.write("""worker_processes 1; daemon off; pid %(tmp)s/nginx.pid; error_log %(tmp)s/error.log;
events { worker_connections 1024; }
http { access_log off; sendfile on; tcp_nopush on; keepalive_requests 100000;
  client_body_temp_path %(tmp)s/body; proxy_temp_path %(tmp)s/proxy; fastcgi_temp_path %(tmp)s/fcgi;
  uwsgi_temp_path %(tmp)s/uwsgi; scgi_temp_path %(tmp)s/scgi;
  server { listen 127.0.0.1:%(port)d; root %(docs)s; } }
""" % {"tmp": tmp, "port": nginx_port, "docs": docs})
        nginx = subprocess.Popen(["nginx", "-c", conf, "-p", tmp], stderr=subprocess.DEVNULL)
        server = subprocess.Popen([cli, "--documents", docs, "serve", "--bind", "127.0.0.1"],
                                  stdout=subprocess.PIPE, text=True, env=dict(os.environ, XDG_CONFIG_HOME=tmp))
        try:
            port = int(re.search(r":(\d+)/", server.stdout.readline()).group(1))
            wait_for(nginx_port)
            wait_for(port)
            results = {}
            for name, headers in [("200 KB download", []), ("single Range", ["Range: bytes=1000-50999"])]:
                ours, theirs = [], []
                for _ in range(ROUNDS):
                    ours.append(wrk("http://127.0.0.1:%d/nb20261101@080000.bak" % port, seconds, *headers))
                    theirs.append(wrk("http://127.0.0.1:%d/nb20261101@080000.bak" % nginx_port, seconds, *headers))
                results[name] = (statistics.median(ours), statistics.median(theirs))
            for name, (ours, theirs) in results.items():
                print("%-16s numbrel %9.0f req/s   nginx %9.0f req/s   ratio %.2f" % (name, ours, theirs, ours / theirs))

            before = rss_kb(server.pid, "VmRSS")
            rate = upload(port, 50 * 1024 * 1024, 5)
            peak = rss_kb(server.pid, "VmHWM")
            print("50 MB upload     %.2f GB/s (best of 5); resident memory %d kB before, peak %d kB: +%.1f MB"
                  % (rate, before, peak, (peak - before) / 1024))
        finally:
            server.send_signal(signal.SIGTERM)
            server.wait()
            nginx.send_signal(signal.SIGQUIT)
            nginx.wait()


if __name__ == "__main__":
    main()
