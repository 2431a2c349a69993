"""The price comparison from the command line against a stand-in service on loopback: the exact form
and query each household sends, and the alert each kind of reply gives."""
import datetime
import json
import os
import plistlib
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.request

CLI = sys.argv.pop(1)
HERE = os.path.dirname(os.path.abspath(__file__))
FAKE = os.path.join(HERE, "..", "fakes", "fake_prices.py")
PINNED = ["--tz", "Europe/London", "--locale", "en_GB", "--now", "2026-11-22T12:00:00Z"]
LINK = "https://compare.example/quote?db=%s&ref=42"


def meter(name, kind, start, end, rate, postcode="SW1A 1AA", house="1", code="GBP"):
    """A meter read a year apart (2025-11-20 to 2026-11-20), at one rate per unit."""
    return {
        "name": name, "type": kind, "code": code, "postcode": postcode, "house": house, "units": "kWh",
        "factor": 1.0, "digits": 6, "precision": 1, "enabled": 1, "fixed": 0.0, "period": "day",
        "tariffs": [{"unit": rate, "initial": 0.0, "period": "day", "remainder": rate}] * 3,
        "readings": [
            {"date": datetime.datetime(2026, 11, 20, 8, 0), "reading": [float(end), 0.0, 0.0]},
            {"date": datetime.datetime(2025, 11, 20, 8, 0), "reading": [float(start), 0.0, 0.0]},
        ],
    }


class PriceComparison(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.TemporaryDirectory()
        port_file = os.path.join(cls.tmp.name, "port")
        cls.fake = subprocess.Popen([sys.executable, FAKE, port_file])
        deadline = time.monotonic() + 20
        while not os.path.exists(port_file):
            if time.monotonic() > deadline or cls.fake.poll() is not None:
                raise RuntimeError("the stand-in service did not start")
            time.sleep(0.05)
        with open(port_file) as f:
            cls.base = "http://127.0.0.1:" + f.read()

    @classmethod
    def tearDownClass(cls):
        os.kill(cls.fake.pid, signal.SIGTERM)
        cls.fake.wait(10)
        cls.tmp.cleanup()

    def store(self, *meters):
        path = os.path.join(self.tmp.name, "store-%d.plist" % time.monotonic_ns())
        with open(path, "wb") as f:
            plistlib.dump({"settings": list(meters), "version": 420, "new": True, "tour": False}, f)
        return path

    def run_compare(self, store, *args, expect=0):
        cmd = [CLI, "--store", store, "--documents", self.tmp.name, *PINNED, "compare", *args, "--json"]
        result = subprocess.run(cmd, capture_output=True, text=True, timeout=60)
        self.assertEqual(result.returncode, expect, result.stderr)
        return result

    def compare(self, store, *args, expect=0):
        return json.loads(self.run_compare(store, *args, expect=expect).stdout)

    def log(self):
        with urllib.request.urlopen(self.base + "/_log") as reply:
            return [json.loads(line) for line in reply.read().decode().splitlines()]

    def household(self):
        return self.store(meter("Electricity", "Electricity", 1000, 4650, 0.20),
                          meter("Gas", "Gas", 100, 7400, 0.05))

    def test_each_household_sends_its_exact_form_and_query(self):
        store = self.household()
        single = self.compare(store, "0", "--single", "--endpoint", self.base + "/ok")
        self.assertEqual(single["query"], "db=electric")
        self.assertFalse(single["dual"])
        dual = self.compare(store, "0", "--endpoint", self.base + "/ok/")
        self.assertTrue(dual["dual"])
        self.assertEqual(dual["fields"]["values[gasUsage]"], "7300")
        sent = self.log()[-2:]
        self.assertEqual([e["query"] for e in sent], ["db=electric", "db=dual"])
        self.assertEqual([e["page"] for e in sent], ["/energy/ios/calc_ios.html"] * 2)
        self.assertEqual(sent[0]["type"], "application/x-www-form-urlencoded")
        self.assertEqual(sent[0]["body"],
                         "done=profile&values[desiredPayType]=1&values[elecUsage]=3650&values[existingElecTariff]=1"
                         "&values[existingPayType]=1&values[nightUsePercent]=0.0&values[postcode]=SW1A%201AA"
                         "&values[profileIncomplete]=YES")
        self.assertEqual(sent[1]["body"], dual["body"])
        self.assertEqual(dual["alert"]["message"],
                         "Electricity usage 3650 kWh\nGas usage 7300 kWh\nLocation SW1A 1AA\n\n"
                         "Current cost £1095.00\nCheapest supplier £612.34\n\nPotential savings £482.66")

    def test_a_gas_meter_alone_sends_no_electricity_fields(self):
        store = self.store(meter("Gas", "Gas", 100, 7400, 0.05, postcode="EH1 1YZ"))
        out = self.compare(store, "Gas", "--endpoint", self.base + "/ok")
        self.assertEqual(self.log()[-1]["query"], "db=gas")
        self.assertEqual(self.log()[-1]["body"],
                         "done=profile&values[desiredPayType]=1&values[existingPayType]=1&values[gasUsage]=7300"
                         "&values[postcode]=EH1%201YZ&values[profileIncomplete]=YES")
        self.assertEqual(out["alert"]["message"],
                         "Gas usage 7300 kWh\nLocation EH1 1YZ\n\nCurrent cost £365.00\n"
                         "Cheapest supplier £612.34\n\nPotential savings £0.00")

    def test_two_gas_meters_at_one_address_leave_electricity_alone(self):
        store = self.store(meter("Gas", "Gas", 100, 7400, 0.05), meter("Electricity", "Electricity", 0, 3650, 0.2),
                           meter("Gas 2", "Gas", 0, 365, 0.05))
        out = self.compare(store, "Electricity", "--endpoint", self.base + "/ok")
        self.assertFalse(out["dual"])
        self.assertEqual(out["query"], "db=electric")
        self.assertNotIn("values[gasUsage]", out["fields"])

    def test_each_kind_of_reply_gives_its_alert(self):
        store = self.household()
        failed = {"title": "Failed to get prices!", "message": "Please check your usage levels and postcode",
                  "buttons": ["OK"]}
        with_link = {"title": "Failed to get prices!",
                     "message": "Please check your usage levels and postcode. For a specific quote select the "
                                "Website button below", "buttons": ["OK", "Website"]}
        result = {"title": "Price Comparison", "buttons": ["Cancel", "More Info"],
                  "message": "Electricity usage 3650 kWh\nLocation SW1A 1AA\n\nCurrent cost £730.00\n"
                             "Cheapest supplier £612.34\n\nPotential savings £117.66"}
        for variant, alert in [("ok", result), ("crlf", result), ("count0", with_link), ("noprice", with_link),
                               ("linkonly", with_link), ("garbage", failed), ("status500", failed),
                               ("hostile", result), ("huge", result), ("nonesuch", failed)]:
            with self.subTest(variant):
                out = self.compare(store, "0", "--single", "--endpoint", self.base + "/" + variant)
                self.assertEqual(out["alert"], alert)
        # The 64 MB reply was read to 1 MB and no further: the service saw the client go away.
        deadline = time.monotonic() + 10
        while "whole" not in (huge := [e for e in self.log() if e["variant"] == "huge"][-1]):
            self.assertLess(time.monotonic(), deadline, "the service never finished the huge reply")
            time.sleep(0.05)
        self.assertFalse(huge["whole"])

    def test_a_refused_connection_is_a_failure(self):
        with socket.socket() as s:
            s.bind(("127.0.0.1", 0))
            port = s.getsockname()[1]
        out = self.compare(self.household(), "0", "--single", "--endpoint", "http://127.0.0.1:%d" % port)
        self.assertEqual(out["alert"]["title"], "Failed to get prices!")
        self.assertEqual(out["alert"]["buttons"], ["OK"])

    def test_the_configured_service_and_what_cannot_be_compared(self):
        store = self.household()
        config_home = os.path.join(self.tmp.name, "config")
        os.makedirs(os.path.join(config_home, "numbrel"), exist_ok=True)
        with open(os.path.join(config_home, "numbrel", "numbrel.conf"), "w") as f:
            f.write("[prices]\nendpoint = %s/ok\n" % self.base)
        env = dict(os.environ, XDG_CONFIG_HOME=config_home)
        cmd = [CLI, "--store", store, "--documents", self.tmp.name, *PINNED, "compare", "Gas", "--single", "--json"]
        out = json.loads(subprocess.run(cmd, capture_output=True, text=True, env=env, check=True).stdout)
        self.assertEqual(out["alert"]["title"], "Price Comparison")
        self.assertEqual(self.log()[-1]["query"], "db=gas")
        # Without a service the request is only shown.
        self.assertNotIn("alert", self.compare(store, "0"))

        water = self.store(meter("Water", "Water", 0, 10, 1.0), meter("Euro", "Electricity", 0, 10, 1.0, code="EUR"))
        for name in ["Water", "Euro"]:
            out = self.compare(water, name, "--endpoint", self.base + "/ok", expect=2)
            self.assertFalse(out["eligible"])
            self.assertEqual(out["alert"]["title"], "Price Comparison")
            self.assertTrue(out["alert"]["message"].startswith("This feature only works for Electricity and Gas"))
        sent = len(self.log())
        refused = self.run_compare(store, "0", "--endpoint", "ftp://" + self.base[7:], expect=1)
        self.assertIn("must be an http or https address", refused.stderr)
        self.assertEqual(len(self.log()), sent)


if __name__ == "__main__":
    unittest.main()
