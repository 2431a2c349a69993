"""The Dropbox client against a fake Dropbox on loopback, over TLS from a test CA, through numbrel-cli:
linking with PKCE, folder discovery, the listing filter, uploads whole and in pieces, checked downloads,
renewed and ended links, 429 and 5xx answers, and certificates that are not from the trusted roots."""
import json
import os
import signal
import ssl
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.request

CLI = sys.argv.pop(1)
FAKE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "fakes", "fake_dropbox.py")


def openssl(*args, cwd):
    subprocess.run(["openssl", *args], cwd=cwd, check=True, capture_output=True)


def make_ca(folder, name):
    """A CA and a certificate for 127.0.0.1 signed by it: (ca.pem, cert.pem, key.pem)."""
    openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", f"/CN={name} CA",
            "-keyout", f"{name}-ca.key", "-out", f"{name}-ca.pem", cwd=folder)
    openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=127.0.0.1", "-keyout", f"{name}.key",
            "-out", f"{name}.csr", cwd=folder)
    with open(os.path.join(folder, "san.ext"), "w") as f:
        f.write("subjectAltName=IP:127.0.0.1\n")
    openssl("x509", "-req", "-in", f"{name}.csr", "-CA", f"{name}-ca.pem", "-CAkey", f"{name}-ca.key",
            "-CAcreateserial", "-days", "2", "-extfile", "san.ext", "-out", f"{name}.pem", cwd=folder)
    return [os.path.join(folder, n) for n in (f"{name}-ca.pem", f"{name}.pem", f"{name}.key")]


class FakeDropbox:
    def __init__(self, folder, cert, key):
        port_file = os.path.join(folder, "port")
        self.proc = subprocess.Popen([sys.executable, FAKE, port_file, "--cert", cert, "--key", key])
        for _ in range(100):
            if os.path.exists(port_file):
                break
            time.sleep(0.05)
        with open(port_file) as f:
            self.url = "https://127.0.0.1:" + f.read().strip()

    def stop(self):
        self.proc.send_signal(signal.SIGTERM)
        self.proc.wait(10)


class DropboxClient(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.TemporaryDirectory()
        cls.dir = cls.tmp.name
        cls.ca, cert, key = make_ca(cls.dir, "test")
        cls.fake = FakeDropbox(cls.dir, cert, key)
        cls.tls = ssl.create_default_context(cafile=cls.ca)
        cls.tokens = os.path.join(cls.dir, "tokens")
        cls.docs = os.path.join(cls.dir, "Documents")
        os.makedirs(cls.docs)
        cls.env = dict(os.environ, XDG_CONFIG_HOME=os.path.join(cls.dir, "config"),
                       XDG_DATA_HOME=os.path.join(cls.dir, "data"), NUMBREL_DROPBOX_API=cls.fake.url,
                       NUMBREL_DROPBOX_CONTENT=cls.fake.url, NUMBREL_DROPBOX_WEB=cls.fake.url,
                       NUMBREL_DROPBOX_CA=cls.ca, NUMBREL_DROPBOX_KEY="testkey")
        cls.env.pop("DBUS_SESSION_BUS_ADDRESS", None)

    @classmethod
    def tearDownClass(cls):
        cls.fake.stop()
        cls.tmp.cleanup()

    def control(self, **what):
        request = urllib.request.Request(self.fake.url + "/_control", data=json.dumps(what).encode(), method="POST")
        urllib.request.urlopen(request, context=self.tls).read()

    def log(self):
        text = urllib.request.urlopen(self.fake.url + "/_log", context=self.tls).read().decode()
        return [json.loads(line) for line in text.splitlines() if line]

    def cli(self, *args, env=None, stdin=None, ok=True):
        run = subprocess.run([CLI, "--store", os.path.join(self.dir, "p.plist"), "--documents", self.docs,
                              "--now", "2026-11-23T09:00:00Z", *args,
                              *(["--token-file", self.tokens] if args[0] == "dropbox" else [])],
                             capture_output=True, text=True, env=env or self.env, input=stdin, timeout=120)
        if ok:
            self.assertEqual(run.returncode, 0, run.stderr)
        return run

    def link(self):
        proc = subprocess.Popen([CLI, "--store", os.path.join(self.dir, "p.plist"), "dropbox", "link",
                                 "--token-file", self.tokens], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, env=self.env)
        url = proc.stdout.readline().strip()
        self.assertTrue(url.startswith(self.fake.url + "/oauth2/authorize?client_id=testkey&"), url)
        code = urllib.request.urlopen(url, context=self.tls).read().decode()
        out, err = proc.communicate(code + "\n", timeout=60)
        self.assertEqual(proc.returncode, 0, err)
        self.assertIn("linked", out)
        self.assertEqual(os.stat(self.tokens).st_mode & 0o777, 0o600)

    def test_everything_in_turn(self):
        # A wrong code is refused and links nothing.
        proc = self.cli("dropbox", "link", stdin="not-a-code\n", ok=False)
        self.assertNotEqual(proc.returncode, 0)
        self.assertFalse(os.path.exists(self.tokens))
        self.link()

        # No "/Numbrel": the top of the linked area, with the listing filter.
        for name in ("/n.bak", "/notes.txt", "/Report.CSV", "/nb20261101@080000.BAK"):
            self.control(file=name, text="x")
        self.control(folder="/Other")
        listed = json.loads(self.cli("dropbox", "ls", "--json").stdout)
        self.assertEqual(listed["folder"], "/")
        self.assertEqual(sorted(f["name"] for f in listed["files"]), ["Report.CSV", "nb20261101@080000.BAK"])

        backup = self.cli("backup").stdout.strip()
        self.assertEqual(self.cli("dropbox", "put", backup).stdout.strip(), "/" + backup)

        # With "/Numbrel" the app works inside it; paged listings are followed to the end.
        self.control(folder="/Numbrel", page=2)
        for i in range(5):
            self.control(file=f"/Numbrel/nb2026110{i}@080000.bak", text="x" * i)
        self.control(file="/Numbrel/Zähler März.csv", text="a,b\n")
        names = [f["name"] for f in json.loads(self.cli("dropbox", "ls", "--json").stdout)["files"]]
        self.assertEqual(len(names), 6)
        self.assertIn("Zähler März.csv", names)
        self.assertTrue(any("list_folder/continue" in e["path"] for e in self.log()))

        # Non-ASCII names travel escaped in Dropbox-API-Arg, and come back whole.
        got = self.cli("dropbox", "get", "Zähler März.csv").stdout.strip()
        with open(got, encoding="utf-8") as f:
            self.assertEqual(f.read(), "a,b\n")
        self.assertIn("\\u00e4", [e for e in self.log() if e["path"] == "/2/files/download"][-1]["arg"])

        # A large file goes in 8 MB pieces and comes back equal; the hashes were compared both ways.
        big = os.path.join(self.docs, "big.csv")
        with open(big, "wb") as f:
            f.write(os.urandom(17 << 20))
        self.cli("dropbox", "put", "big.csv")
        steps = [e["path"].rsplit("/", 1)[1] for e in self.log() if "upload_session" in e["path"]]
        self.assertEqual(steps, ["start", "append_v2", "finish"])
        os.rename(big, big + ".sent")
        self.cli("dropbox", "get", "big.csv")
        with open(big, "rb") as a, open(big + ".sent", "rb") as b:
            self.assertEqual(a.read(), b.read())

        # Bytes that do not match their content_hash never take the name, and leave no temporary.
        self.control(damage=True)
        bad = self.cli("dropbox", "get", "nb20261104@080000.bak", ok=False)
        self.assertIn("damaged", bad.stderr)
        self.assertEqual(sorted(n for n in os.listdir(self.docs) if "nb20261104" in n), [])

        # An expired token is renewed once; 429 waits as told; a 500 is tried again.
        renewals = lambda: sum(1 for e in self.log() if e["path"] == "/oauth2/token")
        before = renewals()
        self.cli("dropbox", "ls")
        self.assertEqual(renewals(), before)  # the access token kept from the last run is still good
        self.control(expire=True)
        self.cli("dropbox", "ls")
        self.assertEqual(renewals(), before + 1)
        self.control(limit=1)
        started = time.monotonic()
        self.cli("dropbox", "ls")
        self.assertGreaterEqual(time.monotonic() - started, 1.0)
        self.control(fail=1)
        self.cli("dropbox", "ls")

        # Errors by their tags; a restore of a Dropbox-only backup runs the screen's restore.
        missing = self.cli("dropbox", "rm", "nb20990101@000000.bak", ok=False)
        self.assertIn("path_lookup/not_found", missing.stderr)
        self.cli("dropbox", "put", backup)  # into "/Numbrel/" now
        os.remove(os.path.join(self.docs, backup))
        restored = self.cli("dropbox", "restore", backup)
        self.assertIn("Backup Restored", restored.stdout)
        self.assertTrue(os.path.exists(os.path.join(self.docs, backup)))

        # A link revoked elsewhere ends: the account shows as unlinked and the tokens are gone.
        self.control(revoke=True, expire=True)
        ended = self.cli("dropbox", "ls", ok=False)
        self.assertIn("link the account again", ended.stderr)
        self.assertFalse(os.path.exists(self.tokens))

    def test_untrusted_certificates_and_plain_http_are_refused(self):
        self.link()
        shipped = dict(self.env)
        del shipped["NUMBREL_DROPBOX_CA"]  # the built-in public roots do not include the test CA
        refused = self.cli("dropbox", "ls", env=shipped, ok=False)
        self.assertIn("certificate", refused.stderr.lower())
        plain = dict(self.env, NUMBREL_DROPBOX_API="http://example.org")
        refused = self.cli("dropbox", "ls", env=plain, ok=False)
        self.assertIn("neither https nor on this machine", refused.stderr)

    def in_session(self, keyring):
        """keyring_session.py in a D-Bus session of its own, with an unlocked keyring or none."""
        data = tempfile.mkdtemp(dir=self.dir)
        runtime = tempfile.mkdtemp(dir=self.dir)
        env = dict(self.env, XDG_DATA_HOME=data, XDG_RUNTIME_DIR=runtime, HOME=data)
        helper = os.path.join(os.path.dirname(os.path.abspath(__file__)), "keyring_session.py")
        inner = [sys.executable, helper, CLI, os.path.join(data, "p.plist")]
        if keyring:
            start = 'echo -n test | gnome-keyring-daemon --unlock --components=secrets >/dev/null && exec "$@"'
            command = ["dbus-run-session", "--", "sh", "-c", start, "sh", *inner]
        else:
            command = inner  # no session bus at all
        run = subprocess.run(command, env=env, capture_output=True, text=True, timeout=120)
        self.assertEqual(run.returncode, 0, run.stderr)
        result = json.loads(run.stdout.strip().splitlines()[-1])
        result["token_file"] = os.path.exists(os.path.join(data, "numbrel", "dropbox-token"))
        return result

    def test_the_keyring_keeps_the_link_and_its_absence_is_said(self):
        tools = ("dbus-run-session", "gnome-keyring-daemon")
        if not all(any(os.access(os.path.join(d, t), os.X_OK) for d in os.environ["PATH"].split(":")) for t in tools):
            self.skipTest("dbus-run-session and gnome-keyring-daemon are needed")
        kept = self.in_session(keyring=True)
        self.assertTrue(kept["linked"], kept["stderr"])
        self.assertTrue(kept["listed"], kept["stderr"])  # a second process found the link in the keyring
        self.assertFalse(kept["token_file"])
        # Without a keyring the link is made, said to last this run only, and is gone afterwards.
        alone = self.in_session(keyring=False)
        self.assertTrue(alone["linked"], alone["stderr"])
        self.assertIn("no keyring answers", alone["stderr"])
        self.assertFalse(alone["listed"])
        self.assertIn("no Dropbox account is linked", alone["stderr"])
        self.assertFalse(alone["token_file"])


if __name__ == "__main__":
    unittest.main()
