"""Links numbrel-cli to the fake Dropbox with no token file, so the link goes wherever the CLI keeps it,
then lists from a second process: prints {"linked": ..., "listed": ..., "stderr": ...} as JSON. Run
inside a D-Bus session (with a keyring in it, or none) by dropbox_test.py."""
import json
import os
import ssl
import subprocess
import sys
import urllib.request

cli, store = sys.argv[1], sys.argv[2]
tls = ssl.create_default_context(cafile=os.environ["NUMBREL_DROPBOX_CA"])
link = subprocess.Popen([cli, "--store", store, "dropbox", "link"], stdin=subprocess.PIPE,
                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
url = link.stdout.readline().strip()
code = urllib.request.urlopen(url, context=tls).read().decode()
out, err = link.communicate(code + "\n", timeout=60)
listed = subprocess.run([cli, "--store", store, "dropbox", "ls", "--json"], capture_output=True, text=True,
                        timeout=60)
print(json.dumps({"linked": link.returncode == 0 and "linked" in out, "listed": listed.returncode == 0,
                  "stderr": err + listed.stderr}))
