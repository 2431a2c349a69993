"""The command-line tool, black-box, against a committed sample store."""
import json
import os
import plistlib
import shutil
import subprocess
import sys
import tempfile
import unittest

CLI = sys.argv.pop(1)
DATA = sys.argv.pop(1)
PINNED = ["--tz", "Europe/London", "--locale", "en_GB", "--now", "2026-11-22T12:00:00Z"]


class Cli(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.store = os.path.join(self.tmp.name, "preferences.plist")
        shutil.copy(os.path.join(DATA, "store", "sample.plist"), self.store)

    def tearDown(self):
        self.tmp.cleanup()

    def run_cli(self, *args, store=None, expect=0, now=None):
        pinned = PINNED if now is None else PINNED[:-1] + [now]
        cmd = [CLI, "--store", store or self.store, "--documents", self.tmp.name, *pinned, *args]
        result = subprocess.run(cmd, capture_output=True, text=True)
        self.assertEqual(result.returncode, expect, result.stderr)
        return result

    def test_status_lists_meters_and_the_latest_reading(self):
        out = self.run_cli("status").stdout
        self.assertIn("Meters: 2", out)
        self.assertIn("0  Electricity (Electricity): 3 readings, latest 2026-11-20 08:00", out)
        self.assertIn("1  Gas (Gas): 2 readings, latest 2026-11-01 09:30", out)
        self.assertIn("Latest reading: 2026-11-20 08:00 (Electricity)", out)

    def test_messages_follow_the_language_of_the_environment(self):
        def message(**env):
            cmd = [CLI, "--store", self.store, "--documents", self.tmp.name, *PINNED, "compare", "Gas", "--json"]
            run = subprocess.run(cmd, capture_output=True, text=True, env=dict(os.environ, LC_ALL="", **env))
            self.assertEqual(run.returncode, 2, run.stderr)
            return json.loads(run.stdout)["alert"]
        german = message(LANGUAGE="de", LANG="C.UTF-8")
        self.assertEqual(german["title"], "Preisvergleich")
        self.assertTrue(german["message"].startswith("Diese Funktion gibt es nur für Strom- und Gaszähler"))
        # A German LANG chooses German messages even where that locale is not generated.
        self.assertEqual(message(LANGUAGE="", LANG="de_DE.UTF-8")["title"], "Preisvergleich")
        self.assertEqual(message(LANGUAGE="", LANG="C.UTF-8")["title"], "Price Comparison")
        self.assertEqual(message(LANGUAGE="fr:de", LANG="C.UTF-8")["buttons"], ["OK"])

    def test_status_does_not_write_the_store(self):
        before = open(self.store, "rb").read()
        self.run_cli("status")
        self.assertEqual(open(self.store, "rb").read(), before)

    def test_meters_json(self):
        meters = json.loads(self.run_cli("meters", "--json").stdout)
        self.assertEqual([m["name"] for m in meters], ["Electricity", "Gas"])
        self.assertEqual(meters[1]["type"], "Gas")  # derived from kWh and a factor above 1
        self.assertEqual(meters[0]["readings"], 3)
        self.assertEqual(meters[0]["formula"], "single")

    def test_document_json_keeps_every_key(self):
        doc = json.loads(self.run_cli("document", "--json").stdout)
        self.assertEqual(doc["custom"], "kept by other tools")
        self.assertEqual(doc["version"], 420)
        self.assertEqual(doc["settings"][0]["readings"][0]["date"], "2026-11-20T08:00:00.000Z")
        rates = doc["settings"][1]["tariffs"][0]["rates"]
        self.assertEqual(len(rates), 12)
        self.assertEqual(rates[0], {"period": "month", "rate": 0.15, "units": 100.0})

    def test_validate_shows_start_up_alerts_once_and_saves(self):
        out = self.run_cli("validate").stdout
        self.assertIn("Help and Support: As a reminder", out)
        self.assertIn("Validated: 2 meters, version 420", out)
        with open(self.store, "rb") as f:
            saved = plistlib.load(f)
        self.assertEqual(saved["version"], 420)
        self.assertEqual(saved["custom"], "kept by other tools")
        self.assertNotIn("Help and Support", self.run_cli("validate").stdout)

    def test_new_store_gets_the_default_meters(self):
        store = os.path.join(self.tmp.name, "sub", "new.plist")
        out = self.run_cli("status", store=store).stdout
        self.assertIn("(new)", out)
        self.assertIn("Meters: 3", out)
        self.assertFalse(os.path.exists(store))
        self.run_cli("validate", store=store)
        self.assertTrue(os.path.exists(store))

    def test_unreadable_store_is_moved_aside(self):
        with open(self.store, "wb") as f:
            f.write(b"garbage")
        result = self.run_cli("status")
        self.assertIn("could not be read", result.stderr)
        self.assertTrue(os.path.exists(self.store + ".unreadable-20261122-120000"))
        self.assertIn("Meters: 3", result.stdout)

    def test_usage_errors_exit_1(self):
        self.run_cli("frobnicate", expect=1)
        self.run_cli("document", expect=1)  # needs --json
        self.run_cli("status", "--bogus", expect=1)
        result = subprocess.run([CLI, "--now", "yesterday", "status"], capture_output=True, text=True)
        self.assertEqual(result.returncode, 1)
        self.assertIn("ISO 8601", result.stderr)
        for impossible in ("2026-02-30T10:00:00Z", "2026-13-01T10:00:00Z", "2026-04-31T10:00Z", "2026-03-01T24:00Z"):
            result = subprocess.run([CLI, "--now", impossible, "status"], capture_output=True, text=True)
            self.assertEqual(result.returncode, 1, impossible)
            self.assertIn("not " + impossible, result.stderr)

    def test_engine_over_a_span(self):
        out = json.loads(self.run_cli("engine", "Electricity", "1", "0", "--json").stdout)
        self.assertEqual(list(out), ["days", "usage", "cost", "costNow", "fixed"])
        self.assertEqual(out["days"], 31.0)
        self.assertAlmostEqual(out["usage"], 234.5 / 31, places=12)
        # 100 units a month at 0.15, the rest at 0.10, 0.25 a day fixed, 5 % tax.
        q = 100 * 12 / 365
        self.assertAlmostEqual(out["cost"], (q * 0.15 + (234.5 / 31 - q) * 0.10 + 0.25) * 1.05, places=12)
        self.assertAlmostEqual(out["fixed"], 0.2625, places=12)
        # Numbers read back exactly: the JSON holds the shortest round-trip form.
        self.assertEqual(repr(out["usage"]), repr(234.5 / 31))

    def test_engine_at_one_rate_set_and_year_ago(self):
        out = json.loads(self.run_cli("engine", "0", "1", "0", "--register", "1", "--rate", "-1", "--from",
                                      "2026-10-20T08:00:00Z", "--to", "2026-11-20T08:00:00+00:00", "--json").stdout)
        self.assertEqual(list(out), ["cost", "fixed"])
        self.assertAlmostEqual(out["fixed"], 0.2625 * 31, places=9)
        self.assertEqual(json.loads(self.run_cli("engine", "Gas", "--year-ago", "--json").stdout), {"yearAgo": 1})
        self.run_cli("engine", "0", "1", "--json", expect=1)
        self.run_cli("engine", "0", "1", "0", "--rate", "-1", "--json", expect=1)
        self.run_cli("engine", "Nobody", "1", "0", "--json", expect=2)

    def test_format(self):
        self.assertEqual(self.run_cli("format", "cost", "1234.567", "--meter", "0").stdout, "£1234.57\n")
        self.assertEqual(self.run_cli("format", "cost7", "0.123456789", "--meter", "Gas").stdout, "£0.1234568\n")
        self.assertEqual(self.run_cli("format", "reading", "1234567", "--meter", "0").stdout, "34567.0\n")
        self.assertEqual(self.run_cli("format", "double", "2.5", "--meter", "0", "--precision", "3").stdout,
                         "2.500\n")
        self.run_cli("format", "cost", "abc", "--meter", "0", expect=1)
        self.run_cli("format", "cost", "1", "--meter", "7", expect=2)

    def test_series(self):
        out = json.loads(self.run_cli("series", "Electricity", "--period", "month", "--json").stdout)
        self.assertEqual(list(out), ["maxPoints", "range", "points", "months", "current", "minimum", "maximum",
                                     "shown", "bars", "lowerBound", "labelPrecision", "average", "day", "month",
                                     "year", "weekday"])
        self.assertEqual(out["maxPoints"], 12)
        self.assertEqual((out["day"], out["month"], out["year"]), (20, 11, 2026))
        self.assertEqual(out["current"], out["points"][0])
        self.assertTrue(out["bars"])
        # A quarterly graph in landscape with the one-month range shows one point at three months.
        out = json.loads(self.run_cli("series", "0", "--period", "quarter", "--range", "1m", "--json").stdout)
        self.assertEqual((out["maxPoints"], out["range"]), (1, 4))
        self.run_cli("series", "0", "--period", "fortnight", "--json", expect=1)
        self.run_cli("series", "0", "--period", "day", "--range", "5y", "--json", expect=1)

    def test_graph_svg(self):
        svg = os.path.join(self.tmp.name, "graph.svg")
        self.run_cli("graph", "Electricity", "--period", "month", "--size", "400x300", "-o", svg)
        text = open(svg).read()
        self.assertTrue(text.startswith("<svg"))
        self.assertIn("Monthly Usage (kWh)", text)
        # Held at the left edge: the oldest day, on the left; at the right edge: the newest reading's day.
        result = self.run_cli("graph", "0", "--period", "day", "--hold", "10", "-o", svg)
        self.assertEqual(result.stdout, "held point 60: Mon 21/09/2026: 6.7 (kWh)\n")
        result = self.run_cli("graph", "0", "--period", "day", "--hold", "390", "-o", svg)
        self.assertEqual(result.stdout, "held point 0: Fri 20/11/2026: 2.5 (kWh)\n")
        self.assertIn("Fri 20/11/2026: 2.5 (kWh)", open(svg).read())
        self.run_cli("graph", "0", "--period", "day", "--size", "huge", "-o", svg, expect=1)
        self.run_cli("graph", "0", "--period", "day", expect=1)

    def test_export(self):
        out = subprocess.run([CLI, "--store", self.store, *PINNED, "export", "Electricity"], capture_output=True)
        self.assertEqual(out.returncode, 0, out.stderr)
        lines = out.stdout.split(b"\r\n")
        self.assertEqual(lines[0], b'"Meter","Date","Reading","Daily Usage","Daily Cost","Total Usage","Total Cost"')
        self.assertEqual(lines[3], b'"Electricity","20/09/2026, 09:00:00","800.0","0","0","0","0"')
        path = os.path.join(self.tmp.name, "all.csv")
        self.run_cli("export", "--all", "-o", path)
        self.assertTrue(open(path, "rb").read().startswith(b'"Meter","Date","Reading 1","Reading 2","Reading 3"'))
        self.run_cli("export", expect=1)
        self.run_cli("export", "0", "--all", expect=1)

    def test_readings_and_bills(self):
        sections = json.loads(self.run_cli("readings", "Electricity", "--json").stdout)
        self.assertEqual([s["title"] for s in sections], ["November 2026", "October 2026", "September 2026"])
        first = sections[0]["rows"][0]
        self.assertEqual((first["index"], first["date"], first["usage"]), (0, "Fri 20, 08:00", "234.5 kWh"))
        bills = json.loads(self.run_cli("readings", "0", "--bills", "--period", "day", "--json").stdout)
        self.assertEqual(bills[0]["rows"][0]["usage"], "7.1 kWh")
        out = json.loads(self.run_cli("bill", "0", "next", "--json").stdout)
        self.assertEqual(out["title"], "Next Bill")
        self.assertTrue(out["message"].startswith("Expected on 20/01/2027\n"))
        self.run_cli("readings", "Gas", "--bills", "--json", expect=2)  # no bills marked
        self.run_cli("bill", "0", "later", "--json", expect=1)

    def test_plain_text_for_people(self):
        # The readings list in aligned columns, with the screens' texts; bills say so.
        self.assertEqual(self.run_cli("readings", "Electricity").stdout.splitlines(), [
            "Readings: Electricity (∆)",
            "November 2026",
            "  Fri 20, 08:00  01234.5  234.5 kWh  £38.11  Bill",
            "October 2026",
            "  Tue 20, 09:00  01000.0  200.0 kWh  £34.05",
            "September 2026",
            "  Sun 20, 09:00  00800.0                     Bill"])
        self.assertEqual(self.run_cli("bill", "0", "next").stdout.splitlines()[:2], ["Next Bill", "Expected on 20/01/2027"])
        series = self.run_cli("series", "0", "--period", "month").stdout.splitlines()
        self.assertEqual(series[:2], ["Monthly Usage (kWh)", "  Nov 2026: 146 (kWh)"])
        self.assertEqual(series[-1], "Average: 145")
        rates = self.run_cli("rates", "Electricity").stdout.splitlines()
        self.assertEqual(rates[:3], ["Electricity", "Fixed or Time Based Rates", "  £0.25/day"])
        self.assertIn("  Tax %       5%", rates)
        self.run_cli("rate-change", "add", "Electricity")
        rates = self.run_cli("rates", "Electricity").stdout.splitlines()
        self.assertIn("Rates 0", rates)
        self.assertEqual(rates[rates.index("Rates 0") + 1], "  To  23/11/2026")
        self.run_cli("backup")
        backups = self.run_cli("backups").stdout
        self.assertEqual(backups.splitlines()[:2], [self.tmp.name, "Latest Backup: 22/11/2026"])
        self.assertRegex(backups, r"\n  nb20261122@120000\.bak +\d+\.\d kB\n")

    def test_current(self):
        sections = json.loads(self.run_cli("current", "0", "--period", "month", "--usage", "230", "--json").stdout)
        self.assertEqual([s["header"] for s in sections],
                         ["Current Period", "Current Reading", "Usage and Cost", "Equivalent to"])
        self.assertEqual(sections[0]["rows"][0], {"label": "Month", "detail": "230.0 kWh"})
        self.assertEqual(sections[1]["rows"][2], {"label": "Days", "detail": "31.00"})
        self.run_cli("current", "0", "--usage", "lots", "--json", expect=1)

    def test_meter_editing(self):
        self.run_cli("meter", "add", "Heat")
        self.run_cli("meter", "set", "Heat", "postcode", "ec1a 1bb")
        self.run_cli("meter", "set", "Heat", "postcode", "EC1A 1BBB", expect=2)
        self.run_cli("meter", "set", "Heat", "code", "XYZ", expect=2)
        self.run_cli("meter", "set", "Heat", "factor", "0")
        self.run_cli("meter", "move", "Heat", "0")
        self.run_cli("meter", "rename", "0", "Heating")
        meters = json.loads(self.run_cli("meters", "--json").stdout)
        self.assertEqual([m["name"] for m in meters], ["Heating", "Electricity", "Gas"])
        doc = json.loads(self.run_cli("document", "--json").stdout)
        self.assertEqual((doc["settings"][0]["postcode"], doc["settings"][0]["factor"]), ("EC1A 1BB", 1.0))
        self.run_cli("rate-change", "add", "Heating")
        rates = json.loads(self.run_cli("rates", "Heating", "--json").stdout)
        self.assertEqual(rates["previous"][0]["to"], "2026-11-23T00:00:00.000Z")
        self.run_cli("rate-change", "date", "Heating", "0", "2026-11-01T00:00:00Z")
        self.run_cli("rate-change", "delete", "Heating", "3", expect=2)
        self.run_cli("rate-change", "delete", "Heating", "0")
        self.assertEqual(json.loads(self.run_cli("rates", "Heating", "--json").stdout)["previous"], [])
        self.assertEqual(self.run_cli("meter", "delete", "Heating").stdout, "Deleted meter 0: Heating (0 readings)\n")
        self.assertEqual(self.run_cli("meter", "delete", "0").stdout, "Deleted meter 0: Electricity (3 readings)\n")
        self.assertEqual(self.run_cli("meter", "delete", "Heating", expect=2).stderr,
                         'numbrel-cli: there is no meter named "Heating"\n')
        self.assertEqual(len(json.loads(self.run_cli("meters", "--json").stdout)), 1)
        self.run_cli("meter", "frobnicate", expect=1)

    def test_backup_restore_and_import(self):
        name = self.run_cli("backup").stdout.strip()
        self.assertEqual(name, "nb20261122@120000.bak")
        listing = json.loads(self.run_cli("backups", "--json").stdout)
        self.assertEqual(listing["latest"], "Latest Backup: 22/11/2026")
        files = {f["name"]: f["backup"] for f in listing["files"]}
        self.assertEqual((files[name], files["preferences.plist"]), (True, False))
        # The archive resolves with any plist reader.
        top = plistlib.load(open(os.path.join(self.tmp.name, name), "rb"))
        self.assertEqual((top["$archiver"], top["$objects"][0]), ("NSKeyedArchiver", "$null"))

        csv = os.path.join(self.tmp.name, "gas.csv")
        with open(csv, "w") as f:
            f.write("Meter,Date,Reading 1,Reading 2,Reading 3\nGas,02/11/2026 09:30,1300,0,0\n")
        self.assertEqual(self.run_cli("import", "gas.csv").stdout, "CSV File Verified: 1 reading\n")
        self.assertIn("2 readings", self.run_cli("status").stdout.splitlines()[3])  # not imported yet
        # An import makes a backup first, so that restoring it undoes the import.
        out = self.run_cli("import", csv, "--yes", now="2026-11-22T12:30:00Z").stdout
        self.assertEqual(out, "CSV File Verified: 1 reading\nBackup before the import: nb20261122@123000.bak\n"
                              "Readings Imported\n")
        self.assertIn("Gas (Gas): 3 readings", self.run_cli("status").stdout)
        self.assertEqual(self.run_cli("restore", "nb20261122@123000.bak").stdout, "Backup Restored\n")
        self.assertIn("Gas (Gas): 2 readings", self.run_cli("status").stdout)
        out = self.run_cli("import", csv, "--yes", "--no-backup", now="2026-11-22T13:00:00Z").stdout
        self.assertEqual(out, "CSV File Verified: 1 reading\nReadings Imported\n")
        self.assertFalse(os.path.exists(os.path.join(self.tmp.name, "nb20261122@130000.bak")))

        out = self.run_cli("restore", name).stdout
        self.assertEqual(out, "Backup Restored\n")
        self.assertIn("Gas (Gas): 2 readings", self.run_cli("status").stdout)

        with open(csv, "w") as f:
            f.write("Gas,02/11/2026 09:30,1300,0\n")
        self.assertEqual(self.run_cli("import", csv, "--yes", expect=2).stdout,
                         "CSV File Corrupt: Row 1, incorrect column count (should be 5)\n")
        with open(os.path.join(self.tmp.name, "odd.bak"), "wb") as f:
            f.write(b"bplist00 not really")
        self.assertTrue(self.run_cli("restore", "odd.bak", expect=2).stdout.startswith("Backup Corrupt: "))
        self.run_cli("restore", "missing.bak", expect=2)
        self.run_cli("import", expect=1)

    def test_sync_between_two_devices_through_a_cloud_folder(self):
        cloud = os.path.join(self.tmp.name, "Sync")
        os.makedirs(cloud)
        other = os.path.join(self.tmp.name, "other.plist")
        other_docs = os.path.join(self.tmp.name, "other")

        def device_b(*args, expect=0):
            result = subprocess.run([CLI, "--store", other, "--documents", other_docs, "--cloud", cloud,
                                     "--now", "2026-11-23T12:00:00Z", *args], capture_output=True, text=True)
            self.assertEqual(result.returncode, expect, result.stderr)
            return result

        first = self.run_cli("--cloud", cloud, "backup", now="2026-11-23T09:00:00Z").stdout.strip()
        self.assertEqual(os.listdir(os.path.join(cloud, "Documents")), [first])
        self.assertEqual(json.loads(device_b("sync", "--json").stdout)["adopted"], first)

        self.run_cli("meter", "rename", "0", "House")
        second = self.run_cli("--cloud", cloud, "backup", now="2026-11-23T10:00:00Z").stdout.strip()
        report = json.loads(device_b("sync", "--json").stdout)
        self.assertEqual((report["downloaded"], report["offered"], report["restored"]), (second, second, ""))
        self.assertNotIn("House", device_b("status").stdout)  # offered, not taken: offered again next time
        self.assertEqual(device_b("sync").stdout, f"offered {second}\n")
        self.assertEqual(device_b("sync", "--yes").stdout, f"offered {second}\nrestored {second}\n")
        self.assertIn("House", device_b("status").stdout)
        self.assertEqual(device_b("sync").stdout, "")

        self.assertIn("No iCloud access", device_b("--cloud", cloud + "-gone", "sync", expect=2).stderr)
        alone = subprocess.run([CLI, "--store", other, "sync"], capture_output=True, text=True,
                               env=dict(os.environ, XDG_CONFIG_HOME=self.tmp.name))
        self.assertEqual(alone.returncode, 1)  # no folder at all
        self.assertIn("--cloud DIR", alone.stderr)

    def test_an_export_comes_back(self):
        # Every meter exported, a reading changed and one added in a "spreadsheet", read back.
        path = os.path.join(self.tmp.name, "readings.csv")
        self.run_cli("export", "--all", "-o", path)
        before = self.run_cli("document", "--json").stdout
        self.assertEqual(self.run_cli("import", path, expect=2).stdout,
                         "CSV File Corrupt: Row 1, incorrect column count (should be 5)\n")
        self.assertEqual(self.run_cli("import-export", path, "--yes", "--no-backup").stdout,
                         "CSV File Verified: 5 readings\nReadings Imported\n")
        self.assertEqual(self.run_cli("document", "--json").stdout, before)
        text = open(path, "rb").read().decode("ascii")
        text = text.replace('"Gas","01/11/2026, 09:30:00","500.0"', '"Gas","01/11/2026, 09:30:00","510.0"')
        text += '"Gas","21/11/2026, 10:00:00","520","0","0"\r\n'
        open(path, "wb").write(text.encode("ascii"))
        out = self.run_cli("import-export", "readings.csv", "--yes").stdout
        self.assertEqual(out, "CSV File Verified: 6 readings\nBackup before the import: nb20261122@120000.bak\n"
                              "Readings Imported\n")
        gas = json.loads(self.run_cli("document", "--json").stdout)["settings"][1]["readings"]
        self.assertEqual([(r["date"], r["reading"][0]) for r in gas],
                         [("2026-11-21T10:00:00.000Z", 520.0), ("2026-11-01T09:30:00.000Z", 510.0),
                          ("2026-10-01T09:30:00.000Z", 450.0)])
        with open(path, "w") as f:
            f.write("Gas,21/11/2026 10:00,520,0,0\n")
        self.assertEqual(self.run_cli("import-export", path, expect=2).stdout,
                         "CSV File Corrupt: This file is not a Numbrel CSV export\n")

    def test_help(self):
        result = subprocess.run([CLI, "--help"], capture_output=True, text=True)
        self.assertEqual(result.returncode, 0)
        for command in ("status", "document --json", "meters --json", "validate"):
            self.assertIn(command, result.stdout)
        result = subprocess.run([CLI, "status", "--help"], capture_output=True, text=True)
        self.assertEqual(result.returncode, 0)
        self.assertIn("usage: numbrel-cli", result.stdout)


    def screen(self, *args, **kw):
        return json.loads(self.run_cli("screen", *args, "--json", **kw).stdout)

    def test_screen_drives_the_settings_and_saves_what_changed(self):
        shown = self.screen("settings")
        sections = shown["screen"]["sections"]
        self.assertEqual(shown["screen"]["title"], "Settings")
        self.assertEqual([r["tag"] for r in sections[1]["rows"]], list(range(10, 17)))
        self.assertEqual(sections[0]["footer"], "For exporting backups and readings")
        shown = self.screen("settings", "--flip", "16,off", "--flip", "10,on")
        self.assertEqual([s["footer"] for s in shown["screen"]["sections"]], [""] * 6)
        with open(self.store, "rb") as f:
            stored = plistlib.load(f)
        self.assertFalse(stored["tips"])
        self.assertTrue(stored["average"])
        # The Dropbox question, cancelled: nothing linked, the switch off.
        shown = self.screen("settings", "--flip", "20,on", "--answer", "20,0")
        self.assertEqual(shown["alerts"][0]["buttons"], ["Cancel", "~Dropbox/", "~Dropbox/Apps/"])
        self.assertFalse(shown["screen"]["sections"][2]["rows"][0]["on"])

    def test_screen_follows_pushed_screens_and_the_tour(self):
        shown = self.screen("settings", "--select", "2,4", "--select", "0,3", "--select", "1,27", "--select", "2,13")
        self.assertEqual(shown["pushed"], ["Reminders"])
        self.assertEqual(shown["screen"]["title"], "Reminders")
        self.assertEqual(shown["screen"]["sections"][1]["rows"][27]["accessory"], "check")
        self.assertEqual(shown["screen"]["sections"][2]["rows"][13]["label"], "01:00 pm")
        # The tour of the main screen, step by step, and "Tour" in the settings closing them.
        fresh = os.path.join(self.tmp.name, "fresh.plist")
        shown = self.screen("root", "--answer", "100,1", "--answer", "101,0", store=fresh)
        self.assertEqual([a["title"] for a in shown["alerts"]], ["Getting Started", "Default Meters"])
        self.assertEqual(self.screen("root", store=fresh)["alerts"], [])
        shown = self.screen("settings", "--select", "3,1", store=fresh)
        self.assertIsNone(shown["screen"])
        self.assertEqual(self.screen("root", store=fresh)["alerts"][0]["tag"], 100)

    def test_screen_refuses_what_it_cannot_do(self):
        self.assertIn("no screen named", self.run_cli("screen", "nothing", expect=1).stderr)
        self.assertIn("joined by a comma", self.run_cli("screen", "settings", "--select", "2", expect=1).stderr)
        self.assertIn("unknown action", self.run_cli("screen", "settings", "--press", "1,1", expect=1).stderr)
        self.assertIn("no alert with tag 7", self.run_cli("screen", "settings", "--answer", "7,0", expect=2).stderr)
        before = open(self.store, "rb").read()
        self.run_cli("screen", "settings", "--select", "9,9", "--select", "-1,0")
        self.assertEqual(open(self.store, "rb").read(), before)

    def test_reminders_print_plan_and_cancel(self):
        self.screen("reminders", "--select", "0,2", "--select", "1,0", "--select", "2,9")  # Mondays 09:00
        planned = json.loads(self.run_cli("reminders", "--json", now="2026-07-01T12:00:00Z").stdout)
        self.assertEqual(len(planned), 7)
        self.assertEqual(planned[0], {"time": "2026-07-06T09:00:00+01:00", "text": "Meter readings are due today"})
        self.assertEqual(planned[6]["time"], "2026-07-12T09:00:00+01:00")
        self.assertEqual({p["text"] for p in planned[1:]}, {"Meter readings are overdue"})
        # Without a user systemd the plan is a calendar file, and cancelling removes it.
        bin_dir = os.path.join(self.tmp.name, "bin")
        os.mkdir(bin_dir)
        with open(os.path.join(bin_dir, "systemctl"), "w") as f:
            f.write("#!/bin/sh\nexit 1\n")
        os.chmod(os.path.join(bin_dir, "systemctl"), 0o755)
        env = dict(os.environ, PATH=bin_dir + ":" + os.environ["PATH"],
                   XDG_DATA_HOME=os.path.join(self.tmp.name, "data"),
                   XDG_CONFIG_HOME=os.path.join(self.tmp.name, "config"))
        ics = os.path.join(self.tmp.name, "data", "numbrel", "reminders.ics")
        cmd = [CLI, "--store", self.store, *PINNED, "reminders"]
        result = subprocess.run(cmd + ["--plan"], capture_output=True, text=True, env=env)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("calendar file", result.stderr)
        with open(ics, newline="") as f:
            text = f.read()
        self.assertEqual(text.count("BEGIN:VEVENT"), 7)
        self.assertIn("DTSTART:20261123T090000Z\r\n", text)  # Monday 23 November, 09:00 in London
        self.assertFalse(os.path.exists(os.path.join(self.tmp.name, "config", "systemd")))
        result = subprocess.run(cmd + ["--cancel"], capture_output=True, text=True, env=env)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertFalse(os.path.exists(ics))

if __name__ == "__main__":
    unittest.main()
