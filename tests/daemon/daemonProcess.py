"""A real `k2r serve` for the tests: its configuration, its process, and what it says of itself."""

import json
import os
import pathlib
import signal
import subprocess
import sys
import time
import urllib.error
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "scripts"))
import mtg  # noqa: E402  (the path comes first)

CLIP_SECONDS = 90
KEY_FRAME_SECONDS = 0.4


def make_clip(path):
    """A transport stream of constant rate with sound and a key frame every 0.4 s; every picture differs."""
    subprocess.run(
        ["ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x180:rate=25", "-f", "lavfi", "-i",
         "sine=frequency=440:beep_factor=4:sample_rate=48000", "-t", str(CLIP_SECONDS), "-c:v", "libx264", "-preset",
         "ultrafast", "-g", "10", "-keyint_min", "10", "-sc_threshold", "0", "-b:v", "400k", "-maxrate", "400k", "-bufsize",
         "100k", "-pix_fmt", "yuv420p", "-c:a", "aac", "-b:a", "64k", "-muxrate", "700k", "-f", "mpegts", path], check=True)


def wait_for(what, ready, seconds=40):
    """Waits until `ready` returns something true, and returns that."""
    end = time.monotonic() + seconds
    while True:
        value = ready()
        if value:
            return value
        assert time.monotonic() < end, f"waited {seconds} s in vain for {what}"
        time.sleep(0.1)


class Daemon:
    """One process. `wrapper` are words in front of the program, such as those that give it another root."""

    running = []

    def __init__(self, k2r, folder, wrapper=()):
        self.k2r, self.folder, self.wrapper = k2r, pathlib.Path(folder), list(wrapper)
        self.folder.mkdir(parents=True, exist_ok=True)
        self.root = self.folder / "root"
        self.root.mkdir(exist_ok=True)
        self.log_path = self.folder / "log"
        self.config = self.folder / "k2r.toml"
        self.process = None
        self.port = None

    def configure(self, streams, storage="", recording='fragment_duration = "1s"', server=""):
        """`streams` are the lines of each [[stream]], after its name: name to text."""
        text = f'[server]\nlisten = "127.0.0.1:{self.port or 0}"\n{server}\n[storage]\nroot = "{self.root}"\n{storage}\n'
        text += f'[recording]\n{recording}\n'
        for name, lines in streams.items():
            text += f'[[stream]]\nname = "{name}"\n{lines}\n'
        self.config.write_text(text)

    def start(self, environment=None):
        log = open(self.log_path, "ab")
        begin = self.log_path.stat().st_size
        # Not the user's state: it remembers each root, and refuses one that has lost its marker.
        environment = {**os.environ, "STATE_DIRECTORY": str(self.folder / "state"), **(environment or {})}
        self.process = subprocess.Popen([*self.wrapper, self.k2r, "serve", "--config", self.config], stderr=log,
                                        stdout=subprocess.DEVNULL, env=environment)
        Daemon.running.append(self.process)
        self.port = wait_for("the address", lambda: self._port(begin), 15)

    def _port(self, begin):
        assert self.process.poll() is None, f"ended with {self.process.poll()}:\n{self.log()}"
        for line in self.log_path.read_text()[begin:].splitlines():
            if "listening on " in line:
                return int(line.rsplit(":", 1)[1])
        return None

    def stop(self, seconds=5):
        """Ends it as systemd does; returns how long it took. It must end well."""
        begin = time.monotonic()
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(timeout=seconds + 20)
        took = time.monotonic() - begin
        assert status == 0, f"exit status {status}:\n{self.log()}"
        assert took < seconds, f"the stop took {took:.1f} s"
        return took

    @staticmethod
    def kill_all():
        """What failed scenarios have left."""
        for process in Daemon.running:
            if process.poll() is None:
                process.kill()
                process.wait()

    def kill(self):
        self.process.kill()
        self.process.wait()

    def reload(self):
        self.process.send_signal(signal.SIGHUP)

    def log(self):
        return self.log_path.read_text(errors="replace")

    def get(self, path, method="GET", headers=None):
        """Status, headers and body of a request."""
        request = urllib.request.Request(f"http://127.0.0.1:{self.port}/{path}", method=method, headers=headers or {})
        try:
            with urllib.request.urlopen(request, timeout=20) as answer:
                return answer.status, answer.headers, answer.read()
        except urllib.error.HTTPError as error:
            return error.code, error.headers, error.read()

    def json(self, path):
        status, _, body = self.get(path)
        assert status == 200, f"{path}: {status} {body}"
        return json.loads(body)

    def metrics(self):
        status, _, body = self.get("metrics")
        assert status == 200, status
        return {line.rsplit(" ", 1)[0]: float(line.rsplit(" ", 1)[1]) for line in body.decode().splitlines()
                if line and line[0] != "#"}

    def metric(self, name, **labels):
        """The sum of the samples of a name with these labels."""
        return sum(value for key, value in self.metrics().items() if key.split("{")[0] == name and
                   all(f'{label}="{text}"' in key for label, text in labels.items()))

    def state(self, stream):
        return next(each for each in self.json("v1/streams")["streams"] if each["name"] == stream)["state"]

    def recordings(self, stream):
        """The directories of a stream, oldest first."""
        folder = self.root / stream
        return sorted(folder.iterdir()) if folder.exists() else []


def verify(k2r, recording):
    return subprocess.run([k2r, "verify", recording], capture_output=True, text=True, check=False)


def frames(k2r, recording):
    """What is stored of a recording: its pictures and its sound, each as the data of the messages."""
    out = f"{recording}.exported.mtg"
    subprocess.run([k2r, "export", recording, "--out", out], check=True, capture_output=True)
    tags = mtg.read_tags(out)
    os.unlink(out)
    # The data of AVC and AAC begin with the packet type; 1 is a frame. Times, which differ, are not in the data but for
    # the composition time, which does not.
    return {kind: [tag.data for tag in tags if tag.type == number and tag.data[1] == 1]
            for kind, number in (("video", 9), ("audio", 8))}


def place_in(reference, part):
    """Where `part` is in `reference`, without a hole; None if it is not."""
    try:
        start = reference.index(part[0])
    except (ValueError, IndexError):
        return None
    return start if reference[start:start + len(part)] == part else None
