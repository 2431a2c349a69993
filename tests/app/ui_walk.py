"""The app walked through offscreen as a person would (numbrel --ui-test), then ended with SIGTERM as a
desktop session ends it at logout: the last edit, made just before, must be on disk afterwards."""
import json
import os
import signal
import subprocess
import sys
import tempfile
import time

APP, CLI = sys.argv[1], sys.argv[2]
PINNED = ["--tz", "Europe/London", "--locale", "en_GB", "--now", "2026-11-22T12:00:00Z"]


def main():
    with tempfile.TemporaryDirectory() as home:
        store = os.path.join(home, "preferences.plist")
        docs = os.path.join(home, "Documents")
        # A home of its own: no mail client, and the user's documents folder is in here.
        env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=os.path.join(home, ".config"),
                   XDG_DATA_HOME=os.path.join(home, ".local/share"), QT_QPA_PLATFORM="offscreen", LANG="C.UTF-8")
        os.makedirs(os.path.join(home, "Documents"), exist_ok=True)
        app = subprocess.Popen([APP, "--ui-test", "--ui-test-wait", "--store", store, "--documents", docs, *PINNED],
                               stdout=subprocess.PIPE, stderr=sys.stderr, text=True, env=env)
        waiting = False
        deadline = time.monotonic() + 120
        for line in app.stdout:
            sys.stdout.write(line)
            if line.startswith("ui test: waiting"):
                waiting = True
                app.send_signal(signal.SIGTERM)
                break
            if time.monotonic() > deadline:
                break
        if not waiting:
            app.kill()
            app.wait()
            print("the walk did not finish (exit status %s)" % app.returncode)
            return 1
        rest, _ = app.communicate(timeout=30)
        sys.stdout.write(rest)
        if app.returncode != 0:
            print("the app ended with %d after SIGTERM" % app.returncode)
            return 1
        rates = subprocess.run([CLI, "--store", store, "--documents", docs, *PINNED, "rates", "0", "--json"],
                               capture_output=True, text=True, env=env)
        saved = json.loads(rates.stdout)
        if saved.get("tax") != 7.0 or saved["tariffs"][0]["rates"][0]["rate"] != 0.25:
            print("after SIGTERM the store holds tax %s and rate %s" % (saved.get("tax"), saved["tariffs"][0]["rates"][0]["rate"]))
            return 1
        print("ui walk: the edit made just before SIGTERM is on disk")
        return 0


if __name__ == "__main__":
    sys.exit(main())
