"""The rounds of kill_test.sh: record, kill, look, append, play."""

import os
import random
import struct
import subprocess
import sys
import time

KEY_FRAME_MS = 500
FRAME_MS = 20


def clip(path, start_ms, end_ms):
    """A tag stream of H.264 and AAC that ffmpeg decodes: the frames of a short film, over and over."""
    subprocess.run(
        ["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc2=s=160x120:r=50", "-f", "lavfi", "-i",
         "sine=frequency=440", "-t", str((end_ms - start_ms) / 1000), "-c:v", "libx264", "-preset", "ultrafast",
         "-bf", "0", "-g", str(KEY_FRAME_MS // FRAME_MS), "-keyint_min", str(KEY_FRAME_MS // FRAME_MS),
         "-sc_threshold", "0", "-pix_fmt", "yuv420p", "-c:a", "aac", "-shortest", path],
        check=True)


def run(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


def read(path):
    try:
        with open(path, "rb") as file:
            return file.read()
    except FileNotFoundError:
        return b""


def indexed(directory):
    """Segment and position of every fragment that the indexes name, and its bytes."""
    stem = os.path.basename(directory)
    fragments = {}
    number = 1
    while image := read(f"{directory}/{stem}Seg{number}.k2i"):
        segment = read(f"{directory}/{stem}Seg{number}.k2r")
        count = struct.unpack_from(">I", image, 21)[0] if image[12] & 0x20 else 0
        for i in range(count):
            position = struct.unpack_from(">Q", image, 25 + 32 * i + 16)[0]
            if 0 < position < 2**64 - 1:
                fragments[number, position] = segment[position:end_of_fragment(segment, position)]
        number += 1
    return fragments


def end_of_fragment(segment, position):
    for kind in (b"afra", b"abst", b"moof", b"mdat"):
        size, found = struct.unpack_from(">I4s", segment, position)
        if found != kind:
            raise SystemExit(f"a fragment is broken at {position}: {found} where {kind} belongs")
        position += size
    if position > len(segment):
        raise SystemExit("a fragment reaches beyond the end of the file")
    return position


def segments(directory):
    stem = os.path.basename(directory)
    number = 1
    while os.path.exists(f"{directory}/{stem}Seg{number}.k2r"):
        yield f"{directory}/{stem}Seg{number}.k2r"
        number += 1


def expect(result, statuses, what):
    if result.returncode not in statuses:
        sys.stdout.write(result.stdout.decode(errors="replace"))
        raise SystemExit(f"{what}: status {result.returncode}")


class Round:
    """One recording, killed several times, finished, and played."""

    def __init__(self, k2r, film, directory, rng):
        self.k2r, self.film, self.directory, self.rng = k2r, film, directory, rng
        self.settings = ["--set", "Recording/FragmentDuration=500", "--set", "Recording/SegmentDuration=4000", "--quiet"]

    def record(self):
        return [self.k2r, "record", self.film, "--out", self.directory, "--append", *self.settings]

    def kill_once(self):
        process = subprocess.Popen(self.record(), stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        time.sleep(self.rng.uniform(0.0, 0.25))
        process.kill()
        process.wait()
        process.stderr.close()
        return process.returncode == -9

    def look(self, before):
        """What the bootstrap had named before is there, byte for byte."""
        after = indexed(self.directory)
        for place, content in before.items():
            if after.get(place) != content:
                raise SystemExit(f"the fragment at {place} is lost or another one")
        return after

    def begun(self):
        return os.path.exists(f"{self.directory}/{os.path.basename(self.directory)}.bootstrap")

    def run(self, kills):
        named, killed = {}, 0
        for _ in range(kills):
            killed += self.kill_once()
            if not os.path.isdir(self.directory) or not os.listdir(self.directory):
                continue
            expect(run(self.k2r, "verify", self.directory), (0, 5), "verify after a kill")
            if self.begun():
                named = self.look(named)
        if self.rng.random() < 0.5 and self.begun():
            expect(run(self.k2r, "repair", self.directory), (0,), "repair")
            named = self.look(named)
        expect(run(*self.record()), (0,), "append")
        named = self.look(named)
        self.expect_whole()
        self.play()
        return killed, len(named)

    def expect_whole(self):
        """Where a recorder died before its first fragment, the next one begins anew without a file of its base time."""
        report = run(self.k2r, "verify", self.directory)
        if report.returncode == 5 and report.stdout.count(b"repairable:") == 1 and b".control: repairable" in report.stdout:
            report = run(self.k2r, "repair", self.directory)
        expect(report, (0,), "verify after an append")

    def play(self):
        for segment in segments(self.directory):
            result = run("ffmpeg", "-v", "error", "-xerror", "-i", segment, "-f", "null", "-")
            if result.returncode != 0 or result.stdout:
                raise SystemExit(f"ffmpeg on {segment}: {result.stdout.decode(errors='replace')}")


def main():
    kills, k2r, seed, work = int(sys.argv[1]), sys.argv[2] + "/k2r", int(sys.argv[3]), sys.argv[4]
    rng = random.Random(seed)
    film = work + "/film.mp4"
    clip(film, 0, 20000)
    done = killed = fragments = rounds = 0
    while done < kills:
        count = min(rng.randint(1, 6), kills - done)
        died, kept = Round(k2r, film, f"{work}/cam{rounds}", rng).run(count)
        done, killed, fragments, rounds = done + count, killed + died, fragments + kept, rounds + 1
    print(f"{done} kills, {killed} of a running recorder; {rounds} recordings with {fragments} fragments: all whole")


main()
