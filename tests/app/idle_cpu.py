#!/usr/bin/env python3
"""An idle window uses under 1 % of a core: the app is started offscreen on an empty store and on a
three-year store, on the main screen and on the other screens, left alone, and the processor time it
takes while nobody touches it is read from /proc."""
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

APP, MAKE_STORE = sys.argv[1], sys.argv[2]
SETTLE, MEASURE, LIMIT = 2.5, 4.0, 0.01
TICK = os.sysconf("SC_CLK_TCK")


def cpu_seconds(pid):
    with open(f"/proc/{pid}/stat") as f:
        fields = f.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / TICK  # utime, stime


def idle_share(store, docs, show=None):
    args = [APP, "--store", store, "--documents", docs, "--tz", "Europe/London", "--locale", "en_GB",
            "--now", "2026-11-22T12:00:00Z"]
    if show:
        args += ["--show", show]
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    app = subprocess.Popen(args, env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        time.sleep(SETTLE)
        if app.poll() is not None:
            sys.exit(f"idle: the app ended early ({app.returncode}) showing {show or 'main'}")
        before, start = cpu_seconds(app.pid), time.monotonic()
        time.sleep(MEASURE)
        used, spent = cpu_seconds(app.pid) - before, time.monotonic() - start
        return used / spent
    finally:
        app.send_signal(signal.SIGTERM)
        app.wait(10)


def main():
    work = tempfile.mkdtemp(prefix="numbrel-idle-")
    try:
        docs = os.path.join(work, "docs")
        three = os.path.join(work, "three.plist")
        subprocess.run([MAKE_STORE, three, "--years", "3", "--period", "0"], check=True,
                       stdout=subprocess.DEVNULL)
        cases = [("empty store", None, None), ("three years", three, None),
                 ("reading entry", three, "entry"), ("readings list", three, "readings"),
                 ("tariff editor", three, "tariff"), ("gear menu", three, "sheet")]
        failed = False
        for name, source, show in cases:
            store = os.path.join(work, "store.plist")
            if os.path.exists(store):
                os.remove(store)
            if source:
                shutil.copy(source, store)
            share = idle_share(store, docs, show)
            print(f"idle: {name}: {share * 100:.2f} % of a core")
            if share >= LIMIT:
                print(f"idle: {name} uses {share * 100:.1f} % of a core, not under {LIMIT * 100:.0f} %")
                failed = True
        sys.exit(1 if failed else 0)
    finally:
        shutil.rmtree(work, ignore_errors=True)


main()
