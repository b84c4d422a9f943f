"""What the tests share that run a daemon with lines of docs/serve.md and other servers beside it."""

import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys

from daemonProcess import CLIP_SECONDS, Daemon, make_clip, wait_for
from liveServer import Camera


def lines_of_manual(pattern):
    """The group of the pattern in docs/serve.md."""
    text = (pathlib.Path(__file__).parents[2] / "docs" / "serve.md").read_text()
    return re.search(pattern, text, re.M | re.S)[1]


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return listener.getsockname()[1]


def start_server(words, port, log):
    """Runs a server that is not ours until the end of the test, and waits until it listens."""
    with open(log, "w", encoding="utf-8") as file:
        process = subprocess.Popen(words, stderr=file)
    Daemon.running.append(process)

    def listens():
        assert process.poll() is None, f"{words} ended: {pathlib.Path(log).read_text()}"
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", port)) == 0
    wait_for(words[0], listens)


def run(test):
    """Calls `test` with a daemon that is not started yet, the source of a stream, and an empty folder."""
    k2r, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    make_clip(folder / "clip.ts")
    camera = Camera(folder / "clip.ts", CLIP_SECONDS)
    daemon = Daemon(k2r, folder / "daemon")
    daemon.port = free_port()
    status = 1
    try:
        test(daemon, camera.url, folder)
        print("passed")
        status = 0
    except BaseException as error:  # Whatever it is, no process may be left.
        print(f"FAILED: {error!r}\n{daemon.log() if daemon.log_path.exists() else ''}")
    Daemon.kill_all()
    sys.stdout.flush()
    # The camera's threads would keep the process.
    os._exit(status)
