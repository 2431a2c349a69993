"""The desktop entry, the AppStream metainfo, the icon and the manual pages as the build writes them:
each passes its validator, carries the German texts, and agrees with the programs."""
import os
import re
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ET

APP_ID = "org.numbrel.Numbrel"
SOURCE, BUILD, VERSION = sys.argv[1:4]
CLI = os.path.join(BUILD, "src/cli/numbrel-cli")
XML_LANG = "{http://www.w3.org/XML/1998/namespace}lang"


def run(*cmd, **kw):
    return subprocess.run(cmd, capture_output=True, text=True, timeout=60, **kw)


class DesktopEntry(unittest.TestCase):
    def test_the_source_and_the_translated_entry_validate_cleanly(self):
        for path in (f"{SOURCE}/data/{APP_ID}.desktop", f"{BUILD}/data/{APP_ID}.desktop"):
            check = run("desktop-file-validate", path)
            self.assertEqual((check.returncode, check.stdout + check.stderr), (0, ""), path)

    def test_the_entry_names_the_icon_and_carries_german(self):
        with open(f"{BUILD}/data/{APP_ID}.desktop", encoding="utf-8") as f:
            entry = dict(line.split("=", 1) for line in f.read().splitlines() if "=" in line)
        self.assertEqual(entry["Icon"], APP_ID)
        self.assertEqual(entry["Exec"], "numbrel")
        self.assertEqual(entry["GenericName[de]"], "Zählerstände")
        self.assertIn("Verbrauch", entry["Comment[de]"])
        # Keywords stay a list in every language.
        self.assertTrue(entry["Keywords[de]"].endswith(";"))
        self.assertGreater(entry["Keywords[de]"].count(";"), 5)

    def test_the_icon_is_a_square_scalable_drawing(self):
        svg = ET.parse(f"{SOURCE}/data/icons/{APP_ID}.svg").getroot()
        self.assertEqual(svg.tag, "{http://www.w3.org/2000/svg}svg")
        x, y, w, h = (float(v) for v in svg.get("viewBox").split())
        self.assertEqual(w, h)


class Metainfo(unittest.TestCase):
    path = f"{BUILD}/data/{APP_ID}.metainfo.xml"

    def test_it_validates_without_warnings(self):
        check = run("appstreamcli", "validate", "--no-net", self.path)
        self.assertEqual(check.returncode, 0, check.stdout + check.stderr)
        self.assertNotRegex(check.stdout, r"(?m)^[EW]:", check.stdout)

    def test_it_describes_this_release_and_launches_the_entry(self):
        root = ET.parse(self.path).getroot()
        self.assertEqual(root.findtext("id"), APP_ID)
        self.assertEqual(root.find("launchable").text, f"{APP_ID}.desktop")
        self.assertIn(VERSION, [r.get("version") for r in root.iter("release")],
                      "the newest release in the metainfo is not the project's version")
        self.assertIsNotNone(root.find("content_rating"))
        shots = root.findall("screenshots/screenshot")
        self.assertGreaterEqual(len(shots), 1)
        self.assertTrue(all(s.find("image").text.startswith("https://") for s in shots))
        german = [s.text for s in root.findall("summary") if s.get(XML_LANG) == "de"]
        self.assertEqual(len(german), 1)
        self.assertIn("Zählerstände", german[0])


class ManualPages(unittest.TestCase):
    def render(self, page):
        shown = run("man", "--warnings", "-l", f"{BUILD}/man/{page}.1",
                    env=dict(os.environ, MANWIDTH="100", MAN_KEEP_FORMATTING="", LC_ALL="C.UTF-8"))
        self.assertEqual(shown.returncode, 0, shown.stderr)
        self.assertEqual(shown.stderr, "", f"{page}(1) has roff problems")
        return shown.stdout

    def test_the_cli_page_lists_every_command_the_cli_has(self):
        text = self.render("numbrel-cli")
        listed = run(CLI, "--help").stdout.split("commands:\n", 1)[1].split("\n")
        names = [line.split()[0] for line in listed if line.strip()]
        self.assertGreater(len(names), 20)
        for name in names:
            self.assertRegex(text, rf"(?m)^       {re.escape(name)}\b", name)
        self.assertIn("EXIT STATUS", text)

    def test_the_app_page_has_the_options_and_where_the_data_lives(self):
        text = self.render("numbrel")
        for option in ("--store FILE", "--self-test", "--screenshot FILE"):
            self.assertIn(option, text)
        self.assertIn("~/.config/numbrel/preferences.plist", text)
        self.assertIn("numbrel-cli(1)", text)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
