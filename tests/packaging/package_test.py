"""The Debian package, built by cpack from this build tree, installed by dpkg into a scratch root: its
name, what it depends on and holds, lintian, and the installed programs run from there with a clean HOME.
Installing needs root (dpkg); without it the test is skipped with a message."""
import glob
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD, VERSION = sys.argv[1:3]
SKIP = 77
DEB = f"numbrel_{VERSION}_amd64.deb"


def run(*cmd, timeout=300, **kw):
    return subprocess.run(cmd, capture_output=True, text=True, timeout=timeout, **kw)


def read(path):
    with open(path, "rb") as f:
        return f.read()


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.TemporaryDirectory(prefix="numbrel-package-")
        made = run("cpack", "-G", "DEB", "-B", cls.tmp.name, "--config", f"{BUILD}/CPackConfig.cmake")
        if made.returncode != 0:
            raise AssertionError("cpack failed:\n" + made.stdout + made.stderr)
        cls.deb = os.path.join(cls.tmp.name, DEB)
        cls.root = os.path.join(cls.tmp.name, "root")
        os.makedirs(os.path.join(cls.root, "var/lib/dpkg/updates"))
        os.makedirs(os.path.join(cls.root, "var/lib/dpkg/info"))
        open(os.path.join(cls.root, "var/lib/dpkg/status"), "w").close()

    @classmethod
    def tearDownClass(cls):
        cls.tmp.cleanup()

    def dpkg(self, *args):
        # The scratch root has no other packages: the dependencies are the host's.
        done = run("dpkg", f"--root={self.root}", "--force-depends", "--force-script-chrootless", *args)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done.stdout

    def clean_home(self):
        home = tempfile.mkdtemp(dir=self.tmp.name, prefix="home-")
        env = {k: v for k, v in os.environ.items() if not k.startswith(("XDG_", "LANGUAGE", "LC_"))}
        env.update(HOME=home, LANG="C.UTF-8", QT_QPA_PLATFORM="offscreen")
        env.pop("DBUS_SESSION_BUS_ADDRESS", None)
        return home, env

    def test_1_the_package_is_named_and_holds_what_a_desktop_needs(self):
        self.assertEqual(sorted(os.path.basename(p) for p in glob.glob(f"{self.tmp.name}/*.deb")), [DEB])
        fields = run("dpkg-deb", "-f", self.deb, "Package", "Version", "Architecture", "Depends").stdout
        self.assertIn(f"Version: {VERSION}\n", fields)
        self.assertIn("Architecture: amd64\n", fields)
        depends = fields.split("Depends:", 1)[1]
        for needed in ("libqt6quick6", "libicu72", "libc6", "qml6-module-qtquick-controls", "libqt6svg6"):
            self.assertIn(needed, depends)
        files = {line.split()[-1] for line in run("dpkg-deb", "-c", self.deb).stdout.splitlines()}
        for path in ("./usr/bin/numbrel", "./usr/bin/numbrel-cli",
                     "./usr/share/applications/org.numbrel.Numbrel.desktop",
                     "./usr/share/metainfo/org.numbrel.Numbrel.metainfo.xml",
                     "./usr/share/icons/hicolor/scalable/apps/org.numbrel.Numbrel.svg",
                     "./usr/share/locale/de/LC_MESSAGES/numbrel.mo",
                     "./usr/share/man/man1/numbrel.1.gz", "./usr/share/man/man1/numbrel-cli.1.gz",
                     "./usr/share/doc/numbrel/help.html", "./usr/share/doc/numbrel/copyright"):
            self.assertIn(path, files)
        # Only what runs and what the desktop shows: no build tools, tests or benchmarks.
        self.assertEqual({p for p in files if p.startswith("./usr/bin/")} - {"./usr/bin/"},
                         {"./usr/bin/numbrel", "./usr/bin/numbrel-cli"})

    def test_2_lintian_finds_no_errors(self):
        if not shutil.which("lintian"):
            self.skipTest("lintian is not installed")
        checked = run("lintian", "--fail-on", "error", self.deb)
        self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
        self.assertNotRegex(checked.stdout, r"(?m)^E:")

    def test_3_installed_the_programs_run_with_a_clean_home_and_removing_keeps_the_data(self):
        self.dpkg("-i", self.deb)
        self.assertIn("/usr/bin/numbrel-cli", self.dpkg("-L", "numbrel"))
        bin_dir = os.path.join(self.root, "usr/bin")
        home, env = self.clean_home()

        status = run(f"{bin_dir}/numbrel-cli", "status", env=env, cwd=home)
        self.assertEqual(status.returncode, 0, status.stderr)
        self.assertIn("preferences.plist", status.stdout)
        # The catalogue is found beside the installed program.
        german = run(f"{bin_dir}/numbrel-cli", "screen", "settings", env=dict(env, LANGUAGE="de"), cwd=home)
        self.assertEqual(german.returncode, 0, german.stderr)
        self.assertIn("Einstellungen", german.stdout)

        test = run(f"{bin_dir}/numbrel", "--self-test", env=env, cwd=home, timeout=600)
        self.assertEqual(test.returncode, 0, test.stdout + test.stderr)

        made = run(f"{bin_dir}/numbrel-cli", "meter", "add", "Water", env=env, cwd=home)
        store = os.path.join(home, ".config/numbrel/preferences.plist")
        self.assertTrue(os.path.exists(store), made.stdout + made.stderr)
        before = read(store)
        self.dpkg("--purge", "numbrel")
        self.assertFalse(os.path.exists(f"{bin_dir}/numbrel"))
        self.assertEqual(read(store), before, "removing the package touched the data")


if __name__ == "__main__":
    if os.geteuid() != 0:
        print("SKIP: installing the package into a scratch root needs root (dpkg); run as root to check it")
        sys.exit(SKIP)
    unittest.main(argv=sys.argv[:1], verbosity=2)
