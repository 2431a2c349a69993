"""The transfer server's publication on the local network, against a real Avahi daemon.

Runs in a network and mount namespace of its own (root only): loopback with multicast, a private system
D-Bus, and an avahi-daemon limited to loopback, so the host's network and daemons are never touched.
`avahi-browse` must see the service under the host's name with the server's port; a second server
takes Avahi's alternative name; a stopped server is withdrawn; a server started before the daemon is
published once the daemon comes, and again after the daemon restarts; without any system bus the
server still serves and says nothing about it."""
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

TOOLS = ("unshare", "ip", "dbus-daemon", "avahi-daemon", "avahi-browse")


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(77)


if len(sys.argv) > 1 and sys.argv[1] != "--inside":
    # Outside: check what the test needs, then run it again in fresh namespaces.
    if os.geteuid() != 0:
        skip("network namespaces need root")
    missing = [t for t in TOOLS if not shutil.which(t)]
    if missing:
        skip("not installed: " + " ".join(missing) + " (Debian: iproute2, dbus, avahi-daemon, avahi-utils)")
    probe = subprocess.run(["unshare", "--net", "--mount", "true"], capture_output=True, text=True)
    if probe.returncode != 0:
        skip("namespaces are not available here: " + probe.stderr.strip())
    os.execvp("unshare", ["unshare", "--net", "--mount", "--fork", sys.executable, __file__, "--inside", *sys.argv[1:]])

sys.argv.pop(1)  # --inside
CLI = sys.argv.pop(1)
HOST = socket.gethostname().split(".")[0]

BUS_CONFIG = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path={socket}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
"""

AVAHI_CONFIG = """[server]
use-ipv4=yes
use-ipv6=no
allow-interfaces=lo
enable-dbus=yes
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
"""


def wait_for(predicate, what, seconds=15):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        result = predicate()
        if result:
            return result
        time.sleep(0.1)
    raise AssertionError("timed out waiting for " + what)


class Publication(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        subprocess.run(["ip", "link", "set", "lo", "up", "multicast", "on"], check=True)
        # A /run of our own: avahi-daemon keeps its pid file and socket there.
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/run"], check=True)
        cls.tmp = tempfile.TemporaryDirectory()
        cls.bus = os.path.join(cls.tmp.name, "system_bus_socket")
        with open(os.path.join(cls.tmp.name, "bus.conf"), "w") as f:
            f.write(BUS_CONFIG.format(socket=cls.bus))
        with open(os.path.join(cls.tmp.name, "avahi.conf"), "w") as f:
            f.write(AVAHI_CONFIG)
        cls.env = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS="unix:path=" + cls.bus,
                       XDG_CONFIG_HOME=os.path.join(cls.tmp.name, "config"))
        cls.dbus = subprocess.Popen(["dbus-daemon", "--nofork", "--config-file=" + cls.tmp.name + "/bus.conf"],
                                    stderr=subprocess.DEVNULL)
        wait_for(lambda: os.path.exists(cls.bus), "the system bus")
        cls.avahi = None

    @classmethod
    def tearDownClass(cls):
        cls.stop_avahi()
        cls.dbus.terminate()
        cls.dbus.wait()
        cls.tmp.cleanup()

    @classmethod
    def start_avahi(cls):
        cls.avahi = subprocess.Popen(
            ["avahi-daemon", "-f", cls.tmp.name + "/avahi.conf", "--no-drop-root", "--no-chroot", "--no-rlimits"],
            env=cls.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    @classmethod
    def stop_avahi(cls):
        if cls.avahi and cls.avahi.poll() is None:
            cls.avahi.terminate()
            cls.avahi.wait()
        cls.avahi = None

    def setUp(self):
        self.servers = []

    def tearDown(self):
        for proc, docs in self.servers:
            if proc.poll() is None:
                proc.kill()
            proc.wait()
            proc.stdout.close()
            proc.stderr.close()
            docs.cleanup()

    def serve(self, env=None):
        docs = tempfile.TemporaryDirectory()
        proc = subprocess.Popen([CLI, "--documents", docs.name, "serve", "--bind", "127.0.0.1"], env=env or self.env,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.servers.append((proc, docs))
        url = proc.stdout.readline().strip()
        self.assertRegex(url, r"^http://127\.0\.0\.1:\d+/$")
        return proc, int(url.rsplit(":", 1)[1].rstrip("/"))

    def browse(self):
        """The resolved "_http._tcp" services on loopback: {(name, port)}."""
        out = subprocess.run(["avahi-browse", "-rtpk", "_http._tcp"], env=self.env, capture_output=True, text=True,
                             timeout=20).stdout
        found = set()
        for line in out.splitlines():
            fields = line.split(";")
            if fields[0] == "=" and len(fields) >= 9 and fields[4] == "_http._tcp" and fields[5] == "local":
                name = fields[3].replace("\\032", " ").replace("\\035", "#")
                found.add((name, int(fields[8])))
        return found

    def published(self, *expected):
        def seen():
            found = self.browse()
            return set(expected) <= found and found
        return wait_for(seen, f"{expected} to be published")

    def test_published_renamed_withdrawn_and_republished(self):
        # Started before the daemon: published when it comes.
        first, first_port = self.serve()
        self.start_avahi()
        self.published((HOST, first_port))

        # A second server on the same host takes the alternative name.
        second, second_port = self.serve()
        self.published((HOST, first_port), (HOST + " #2", second_port))

        # A stopped server is withdrawn; the other stays.
        first.send_signal(signal.SIGTERM)
        self.assertEqual(first.wait(timeout=10), 0)
        wait_for(lambda: (HOST, first_port) not in self.browse(), "the stopped server to be withdrawn")
        self.assertIn((HOST + " #2", second_port), self.browse())

        # The daemon restarts: the running server is published again without being touched.
        self.stop_avahi()
        self.start_avahi()
        self.published((HOST + " #2", second_port))
        self.assertIsNone(second.poll())

        # Nothing about any of this reached the person running the server.
        second.send_signal(signal.SIGTERM)
        self.assertEqual(second.wait(timeout=10), 0)
        self.assertEqual(second.stderr.read(), "")

    def test_without_a_system_bus_the_server_serves_quietly(self):
        env = dict(self.env, DBUS_SYSTEM_BUS_ADDRESS="unix:path=" + self.tmp.name + "/no-bus-here")
        proc, port = self.serve(env)
        with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
            s.sendall(f"GET / HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\nConnection: close\r\n\r\n".encode())
            reply = b""
            while chunk := s.recv(65536):
                reply += chunk
        self.assertTrue(reply.startswith(b"HTTP/1.1 200"), reply[:80])
        proc.send_signal(signal.SIGTERM)
        self.assertEqual(proc.wait(timeout=10), 0)
        self.assertEqual(proc.stderr.read(), "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
