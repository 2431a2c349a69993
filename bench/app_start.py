#!/usr/bin/env python3
"""App start to first frame, side by side with a minimal Qt Quick Controls window in the same run.

usage: bench/app_start.py BUILD_DIR [STORE ...]   (default: a 10-meter, 10-year store is generated)
Each program is started in turn, RUNS times, offscreen; the time is from the start of the process to
the line "first frame" it prints once its window is drawn. Medians and their ratio are printed.
"""
import os
import statistics
import subprocess
import sys
import tempfile
import time

RUNS = 15


def first_frame(command, env):
    start = time.perf_counter()
    p = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=env, text=True)
    for line in p.stdout:
        if line.startswith("first frame"):
            elapsed = time.perf_counter() - start
            p.wait()
            return elapsed * 1000
    p.wait()
    raise SystemExit("%s never drew a frame (exit %s)" % (command[0], p.returncode))


def main():
    build = sys.argv[1]
    stores = sys.argv[2:]
    with tempfile.TemporaryDirectory() as home:
        env = dict(os.environ, QT_QPA_PLATFORM="offscreen", HOME=home, XDG_RUNTIME_DIR=home)
        if not stores:
            path = os.path.join(home, "household.plist")
            subprocess.run([os.path.join(build, "bench", "bench_store_memory")], check=True, capture_output=True,
                           env=dict(env, TMPDIR=home))
            os.rename(os.path.join(home, "numbrel-memory.plist"), path)
            stores = [path]
        anchor = [os.path.join(build, "bench", "bench_minimal_window")]
        for store in stores:
            app = [os.path.join(build, "src", "app", "numbrel"), "--store", store, "--documents",
                   os.path.join(home, "Documents"), "--first-frame"]
            first_frame(anchor, env), first_frame(app, env)  # warm the caches
            a, b = [], []
            for _ in range(RUNS):
                a.append(first_frame(anchor, env))
                b.append(first_frame(app, env))
            ma, mb = statistics.median(a), statistics.median(b)
            print("%s (%.1f MB): app %.0f ms, minimal window %.0f ms, ratio %.2f (target at most 2)"
                  % (os.path.basename(store), os.path.getsize(store) / 1e6, mb, ma, mb / ma))


if __name__ == "__main__":
    main()
