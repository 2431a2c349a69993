"""Python's plistlib reads what Numbrel writes, and Numbrel reads what plistlib writes."""
import datetime
import os
import plistlib
import subprocess
import sys
import tempfile
import unittest

TOOL = sys.argv.pop(1)


def sample():
    return {
        "bool": True,
        "no": False,
        "ints": [0, 1, 255, 256, 65535, 65536, 2**32 - 1, 2**32, 2**63 - 1, -1, -(2**63)],
        "reals": [0.0, -0.0, 0.1, 1e-310, 1.7976931348623157e308, -2.5],
        "date": datetime.datetime(2014, 3, 5, 7, 15, 2, 123456),
        "old": datetime.datetime(1970, 1, 1, 0, 0, 0),
        "ascii": "Electricity",
        "unicode": "m³ Électricité 電気 🔌",
        "empty": "",
        "data": bytes(range(256)),
        "nested": [{"date": datetime.datetime(2020, 2, 29, 23, 59, 59), "reading": [1.5, 0.0, 0.0]}] * 20,
        "uid": plistlib.UID(70000),
        "long": "x" * 1000,
        "keys": {str(i): i for i in range(40)},
    }


class Interop(unittest.TestCase):
    def test_round_trip_through_numbrel(self):
        with tempfile.TemporaryDirectory() as tmp:
            theirs = os.path.join(tmp, "python.plist")
            ours = os.path.join(tmp, "numbrel.plist")
            with open(theirs, "wb") as f:
                plistlib.dump(sample(), f, fmt=plistlib.FMT_BINARY)
            subprocess.run([TOOL, "roundtrip", theirs, ours], check=True)
            with open(ours, "rb") as f:
                back = plistlib.load(f)
            self.assertEqual(back, sample())

    def test_description_of_a_python_file(self):
        with tempfile.TemporaryDirectory() as tmp:
            path = os.path.join(tmp, "python.plist")
            with open(path, "wb") as f:
                plistlib.dump({"b": [1, 1.0, "x"], "a": datetime.datetime(2001, 1, 1, 0, 0, 1)}, f,
                              fmt=plistlib.FMT_BINARY)
            out = subprocess.run([TOOL, "describe", path], check=True, capture_output=True, text=True).stdout
            self.assertEqual(out.strip(), '{"a"=@1;"b"=(1,1.0,"x");}')

    def test_garbage_is_refused(self):
        with tempfile.TemporaryDirectory() as tmp:
            path = os.path.join(tmp, "bad.plist")
            with open(path, "wb") as f:
                f.write(b"bplist00" + bytes(range(100)))
            result = subprocess.run([TOOL, "describe", path], capture_output=True)
            self.assertEqual(result.returncode, 2)


if __name__ == "__main__":
    unittest.main()
