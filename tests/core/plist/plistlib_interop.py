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


def unarchive(top):
    """Resolves a keyed archive's UID graph, as any reader of the format does."""
    objects = top["$objects"]

    def resolve(uid):
        o = objects[uid.data]
        if not isinstance(o, dict):
            return o
        name = objects[o["$class"].data]["$classname"]
        if name in ("NSMutableDictionary", "NSDictionary"):
            return {resolve(k): resolve(v) for k, v in zip(o["NS.keys"], o["NS.objects"])}
        if name in ("NSMutableArray", "NSArray"):
            return [resolve(v) for v in o["NS.objects"]]
        if name == "NSDate":
            return datetime.datetime(2001, 1, 1) + datetime.timedelta(seconds=o["NS.time"])
        if name == "NSData":
            return o["NS.data"]
        raise ValueError(name)

    return resolve(top["$top"]["root"])


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

    def test_keyed_archive_resolves_in_plistlib(self):
        doc = sample()
        del doc["uid"]  # a UID is the archive's own vocabulary, not a value of a document
        with tempfile.TemporaryDirectory() as tmp:
            plain = os.path.join(tmp, "plain.plist")
            archive = os.path.join(tmp, "archive.bak")
            with open(plain, "wb") as f:
                plistlib.dump(doc, f, fmt=plistlib.FMT_BINARY)
            subprocess.run([TOOL, "archive", plain, archive], check=True)
            with open(archive, "rb") as f:
                top = plistlib.load(f)
        self.assertEqual(top["$archiver"], "NSKeyedArchiver")
        self.assertEqual(top["$version"], 100000)
        self.assertEqual(top["$objects"][0], "$null")
        self.assertEqual(unarchive(top), doc)

    def test_archives_in_the_platform_archivers_own_layout(self):
        # NSString objects, a string object and a date object referenced from two places, class
        # entries with their class chains: all as the platform archiver writes them.
        def cls(name, *chain):
            return {"$classname": name, "$classes": [name, *chain, "NSObject"]}
        objects = [
            "$null",
            {"NS.keys": [plistlib.UID(2), plistlib.UID(3), plistlib.UID(4)],
             "NS.objects": [plistlib.UID(5), plistlib.UID(5), plistlib.UID(7)], "$class": plistlib.UID(9)},
            "name", "alias", "when",
            {"NS.string": "Gas m³", "$class": plistlib.UID(6)},
            cls("NSMutableString", "NSString"),
            {"NS.objects": [plistlib.UID(8), plistlib.UID(8), plistlib.UID(10)], "$class": plistlib.UID(11)},
            {"NS.time": 415696502.0, "$class": plistlib.UID(12)},
            cls("NSDictionary"),
            42,
            cls("NSArray"),
            cls("NSDate"),
        ]
        top = {"$archiver": "NSKeyedArchiver", "$version": 100000, "$top": {"root": plistlib.UID(1)},
               "$objects": objects}
        when = datetime.datetime(2014, 3, 5, 7, 15, 2)
        with tempfile.TemporaryDirectory() as tmp:
            archive = os.path.join(tmp, "theirs.bak")
            plain = os.path.join(tmp, "plain.plist")
            with open(archive, "wb") as f:
                plistlib.dump(top, f, fmt=plistlib.FMT_BINARY)
            subprocess.run([TOOL, "unarchive", archive, plain], check=True)
            with open(plain, "rb") as f:
                self.assertEqual(plistlib.load(f), {"name": "Gas m³", "alias": "Gas m³", "when": [when, when, 42]})
            # A cycle is refused, not followed.
            objects[7]["NS.objects"][2] = plistlib.UID(7)
            with open(archive, "wb") as f:
                plistlib.dump(top, f, fmt=plistlib.FMT_BINARY)
            self.assertEqual(subprocess.run([TOOL, "unarchive", archive, plain], capture_output=True).returncode, 2)

    def test_garbage_is_refused(self):
        with tempfile.TemporaryDirectory() as tmp:
            path = os.path.join(tmp, "bad.plist")
            with open(path, "wb") as f:
                f.write(b"bplist00" + bytes(range(100)))
            result = subprocess.run([TOOL, "describe", path], capture_output=True)
            self.assertEqual(result.returncode, 2)


if __name__ == "__main__":
    unittest.main()
