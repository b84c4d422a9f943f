"""The runs of fault_test.sh. A case is SCENARIO/FAULT/CALL/COUNT: the fault begins at the call of that number, of those that
it concerns, and lasts for so many. A scenario is a directory, a command, and what may be there afterwards."""

import collections
import concurrent.futures
import json
import os
import random
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time
import traceback

from mtg import Tag, is_part, media, read_tags, write_tags

CALLS = ("open create close read write truncate fstat lookup chmod flock fsync mkdir rmdir link rename unlink "
         "readdir")
FOR_EVER = 1000000000
# Number that the library of the calls takes, the calls that can end so, and for how many in a row.
FAULTS = {
    "ENOSPC": (28, "create write truncate mkdir link rename", (1, 3, FOR_EVER)),
    "EIO": (5, "open read write truncate fstat lookup fsync close readdir rename", (1, 3, FOR_EVER)),
    "EMFILE": (24, "open create", (1, 3, FOR_EVER)),
    "EACCES": (13, "open create lookup mkdir rmdir link rename unlink chmod", (1, 3, FOR_EVER)),
    "ENOLCK": (37, "flock", (1, FOR_EVER)),
    "EINTR": (4, "open create read write truncate fsync flock", (1, 3)),
    "short": (0, "read write", (1, 3, FOR_EVER)),
    "kill": (-1, CALLS, (1,)),
}
STOP = -2
GRID = ["--set", "Recording/FragmentDuration=1000", "--set", "Recording/SegmentDuration=2000"]
SECONDS = 20


class Fault(Exception):
    """What must not be."""


def expect(holds, what):
    if not holds:
        raise Fault(what)


def files_of(directory):
    """The content of all files below, by their names."""
    found = {}
    for folder, _, names in os.walk(directory):
        for name in names:
            path = os.path.join(folder, name)
            with open(path, "rb") as file:
                found[os.path.relpath(path, directory)] = file.read()
    return found


class Program:
    def __init__(self, folder):
        self.path, self.looks = folder + "/k2r", Looks(folder)
        self.calls = folder + "/libfault_calls.so"

    def run(self, *arguments, environment=None, memory=None):
        limit = (lambda: resource.setrlimit(resource.RLIMIT_AS, (memory, memory))) if memory else None
        try:
            return subprocess.run([self.path, *arguments], capture_output=True, text=True, errors="replace", timeout=SECONDS,
                                  env={**os.environ, **(environment or {})}, preexec_fn=limit, stdin=subprocess.DEVNULL)
        except subprocess.TimeoutExpired:
            raise Fault(f"{arguments} hangs") from None

    def expect(self, *arguments):
        result = self.run(*arguments)
        if result.returncode != 0:
            raise SystemExit(f"{arguments}: status {result.returncode}\n{result.stderr}")

    def environment(self, place, error, first, count, calls):
        return {"LD_PRELOAD": self.calls, "K2R_FAULT_DIRECTORY": place, "K2R_FAULT_TRACE": place + ".trace",
                "K2R_FAULT": f"{error} {first} {count} {calls}"}


class Looks(threading.local):
    """The program that looks at recordings, one a thread."""

    def __init__(self, folder):
        self.process = subprocess.Popen([folder + "/recording_look"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def at(self, path):
        self.process.stdin.write(path + "\n")
        self.process.stdin.flush()
        return json.loads(self.process.stdout.readline())


class Recording:
    """A directory, looked at without faults."""

    def __init__(self, program, path):
        self.program, self.path = program, path

    def look(self):
        return self.program.looks.at(self.path)

    def verify(self):
        found = self.look()
        expect(found["status"] in (0, 1, 5), f"verify: {found['status']}\n{found['report']}")
        expect(found["status"] != 1 or not self.has_fragments(), f"verify cannot read it: {found['error']}")
        return found["status"]

    def has_fragments(self):
        return os.path.isdir(self.path) and any(
            name.endswith((".k2i", ".bootstrap")) for name in os.listdir(self.path))

    def tags(self, key=None):
        """Of its media. Nothing where nothing is recorded."""
        if not key or not self.has_fragments() or not self.look()["fragments"]:
            found = self.look()
            nothing_yet = found["status"] == 1 or "has no fragment yet" in found["error"]
            expect(not found["error"] or nothing_yet, found["error"])
            return [Tag(*tag) for tag in found["tags"] if tag[0] in (8, 9)]
        if not os.path.exists(self.path + "/cam.bootstrap"):
            return []
        clear = Recording(self.program, self.path + "-clear")
        result = self.program.run("unprotect", self.path, "--key", key, "--out", clear.path)
        expect(result.returncode == 0, f"unprotect: {result.returncode} {result.stderr}")
        tags = clear.tags()
        shutil.rmtree(clear.path)
        return tags

    def repair(self, config=None):
        result = self.program.run("repair", self.path, *(["--config", config] if config else []))
        expect(result.returncode == 0, f"repair: {result.returncode}\n{result.stdout}{result.stderr}")


class Run:
    """What a command did under a fault, in a separate place."""

    def __init__(self, program, case, place):
        self.program, self.case, self.place = program, case, place
        name, self.fault, first, count = case.split("/")
        self.name, self.first, self.count = name, int(first), int(count)
        self.failed = set()

    def perform(self, scenario):
        self.scenario = scenario
        scenario.copy(self.place)
        self.result = scenario.start(self)
        self.status = self.result.returncode
        if os.path.exists(self.place + ".trace"):
            with open(self.place + ".trace", encoding="utf-8") as trace:
                self.failed = {line.split()[0] for line in trace if line.endswith(" !\n")}
        self.expect_said()
        outcome = scenario.check(self)
        scenario.expect_others_untouched(self)
        return outcome

    def environment(self):
        error, calls, _ = FAULTS[self.fault]
        return self.program.environment(self.place, error, self.first, self.count, calls)

    def recording(self, name="cam"):
        return Recording(self.program, f"{self.place}/{name}")

    def expect_said(self):
        """Each end but a good one is one that a user can understand."""
        errors = self.result.stderr
        is_killed = self.status == -signal.SIGKILL and "kill" in self.case
        is_usage = self.status == 2 and "cannot read settings" in errors
        # One of the libraries that libav brings aborts while it is loaded if it has no memory.
        # And without some 200 KiB of heap at the start, the C++ runtime has no room for an exception: it ends the program.
        aborts = ["GnuTLS initialization"]
        if "memory" in self.case: aborts.append("terminate called without an active exception")
        is_library = self.status == -signal.SIGABRT and any(words in errors for words in aborts)
        expect(is_killed or is_usage or is_library or self.status in self.scenario.statuses, f"status {self.status}\n{errors}")
        lines = self.result.stdout if self.status == 4 else errors
        is_told = any(word in lines for word in ("error: ", "damage: ", "error while loading"))
        expect(is_killed or is_library or self.status == 0 or is_told, f"status {self.status} without a line")

    def lacks_index(self):
        """Several fragments that no index names, since none could be written: no repair removes them."""
        found = self.recording().look()
        return found["status"] == 4 and found["fragments"] == 0 and "bootstrap: damage: missing" in found["report"]

    def settle(self, name, key=None, config=None):
        """Tags of a recording as it is, and as a repair leaves it; and whether there was one to do."""
        recording = self.recording(name)
        status = recording.verify()
        expect(self.status != 0 or status != 5, f"status 0 and a recording to repair\n{self.result.stderr}")
        before = recording.tags(key)
        if status != 5:
            return before, False
        recording.repair(config)
        expect(not recording.has_fragments() or recording.verify() == 0, "a repair leaves a recording that is not whole")
        after = recording.tags(key)
        expect(is_part(before, after), "a repair lost something")
        return after, True


class Scenario:
    """`prepare` makes a template with the program; each run gets a copy of it as `place`."""
    name, statuses = "", (0, 1)
    foreign = {"notes.txt": b"mine", "cam.mp4.part": b"mine"}

    def __init__(self, program, work, inputs):
        self.program, self.inputs = program, inputs
        self.template = f"{work}/template-{self.name}"
        os.makedirs(self.template)
        self.prepare(self.template)
        for name, content in self.foreign.items():
            with open(f"{self.template}/{name}", "wb") as file:
                file.write(content)
        place = f"{work}/golden-{self.name}"
        self.copy(place)
        result = program.run(*self.command(place), environment=program.environment(place, 0, FOR_EVER, 1, CALLS))
        if result.returncode != 0:
            raise SystemExit(f"{self.name}: {result.returncode} {result.stderr}")
        with open(place + ".trace", encoding="utf-8") as trace:
            self.calls = [line.split()[0] for line in trace]
        self.learn(place)

    def copy(self, place):
        shutil.copytree(self.template, place)

    def prepare(self, place):
        pass

    def command(self, place):
        raise NotImplementedError

    def learn(self, place):
        """From a run without a fault."""

    def start(self, run):
        return self.program.run(*self.command(run.place), environment=run.environment())

    def check(self, run):
        """Returns the kind of outcome."""
        raise NotImplementedError

    def cases(self):
        for fault, (_, calls, counts) in FAULTS.items():
            concerned = sum(call in calls.split() for call in self.calls)
            for first in range(concerned):
                for count in counts:
                    yield fault, first, count

    def expect_others_untouched(self, run):
        for name, content in self.foreign.items():
            with open(f"{run.place}/{name}", "rb") as file:
                expect(file.read() == content, f"{name} of somebody else is another one")


class RecordNew(Scenario):
    name, source, options, key, config = "record tag stream", "film.mtg", (), None, None
    statuses = (0, 1, 3, 6)

    def command(self, place):
        shutil.copy(f"{self.inputs}/{self.source}", place)
        return ["record", f"{place}/{self.source}", "--out", place + "/cam", *GRID, "--quiet", "--json", *self.options]

    def learn(self, place):
        self.parts = [Recording(self.program, f"{place}/{name}").tags(self.key) for name in self.directories(place)]
        self.golden = [tag for part in self.parts for tag in part]
        self.old = []

    def directories(self, place):
        names = ["cam", *(f"cam-{number}" for number in range(2, 9))]
        return [name for name in names if Recording(self.program, f"{place}/{name}").has_fragments()]

    def check(self, run):
        if run.lacks_index():
            expect(run.status in (1, 6), f"status {run.status} and no index")
            return "fragments without an index: damaged, and said so"
        stored, repaired = [], False
        for name in self.directories(run.place) or ["cam"]:
            tags, was_open = run.settle(name, self.key, self.config)
            stored += tags
            repaired |= was_open
            expect(any(is_part(tags, self.old + part) for part in self.parts), f"what is in {name} was not in the input")
        return self.judge(run, stored, repaired)

    def judge(self, run, stored, repaired):
        expect(run.status != 0 or [tag.data for tag in stored] == [tag.data for tag in self.old + self.golden],
               f"status 0 with something missing: {len(stored)} of {len(self.golden)}\n{run.result.stderr}")
        expect(stored[:len(self.old)] == self.old, "the old recording has lost something")
        self.expect_true_account(run, len(stored) - len(self.old), repaired)
        if run.status == 0:
            return "whole, status 0"
        if len(stored) == len(self.old):
            return "old or nothing, and said so" if run.status > 0 else "killed: old or nothing"
        if repaired:
            return "a part, repaired" if run.status > 0 else "killed: a part, repaired"
        return "a part, and said so" if run.status > 0 else "killed: a part"

    def expect_true_account(self, run, stored, repaired):
        if run.status < 0:
            return
        account = json.loads(run.result.stdout)
        expect(account["exitStatus"] == run.status, "the document has another status")
        if "stored" not in account:
            expect(stored == 0, f"nothing is reported, and {stored} messages are stored")
            return
        if account["stored"] is None:
            expect(run.status in (1, 6) and account["lost"] is None, "an unknown part that is not reported so")
            return
        told = account["stored"]["messages"]
        expect(told == stored or (repaired and told <= stored), f"{told} reported as stored, and {stored} are")
        lost = account["received"]["messages"] - told
        expect(account["lost"]["messages"] == lost, f"{lost} are lost, and {account['lost']['messages']} reported so")


class RecordFilm(RecordNew):
    name, source = "record mp4", "film.mp4"


class RecordProtected(RecordNew):
    name = "record protected"

    def prepare(self, place):
        shutil.copytree(f"{self.inputs}/keys", place + "/keys")
        self.key, self.config = f"{self.inputs}/keys/license-server.key", f"{self.inputs}/keys/recording.conf"

    def command(self, place):
        return [*super().command(place), "--config", place + "/keys/recording.conf"]


class RecordChange(RecordNew):
    name, source = "record codec change", "change.mtg"


class RecordSmallQueue(RecordNew):
    name, options = "record, small queue", ("--max-queue", "16K")


class RecordLittleMemory(RecordNew):
    """The address space ends so many pages below what the recording needs."""
    name, PAGE = "record, little memory", 16384
    statuses = (0, 1, 3, 6, 127)  # The last one is the loader's.

    def learn(self, place):
        super().learn(place)
        low, high = 1, 1 << 17
        while low + 1 < high:
            middle = (low + high) // 2
            good = self.program.run(*self.command(place), "--overwrite", memory=middle * self.PAGE).returncode == 0
            low, high = (low, middle) if good else (middle, high)
        self.least = high

    def cases(self):
        return (("memory", pages, 1) for pages in range(1, 400))

    def start(self, run):
        return self.program.run(*self.command(run.place), memory=(self.least - run.first) * self.PAGE)

    def expect_true_account(self, run, stored, repaired):
        if run.result.stdout:
            super().expect_true_account(run, stored, repaired)


class Append(RecordNew):
    name, source, options, ending = "record --append", "later.mtg", ("--append",), ()

    def prepare(self, place):
        self.program.expect("record", f"{self.inputs}/old.mtg", "--out", place + "/cam", *GRID, *self.ending)

    def learn(self, place):
        super().learn(place)
        self.old = Recording(self.program, self.template + "/cam").tags()
        expect(self.golden[:len(self.old)] == self.old, "an append changes what there was")
        self.golden = self.golden[len(self.old):]
        self.parts = [self.golden]


class AppendInterrupted(Append):
    name, ending = "--append, interrupted", ("--no-stop",)


class Overwrite(Append):
    name, options = "record --overwrite", ("--overwrite",)

    def learn(self, place):
        RecordNew.learn(self, place)
        self.before = files_of(self.template + "/cam")

    def check(self, run):
        aside = f"{run.place}/cam.replaced"
        if os.path.isdir(run.place + "/cam") and files_of(run.place + "/cam") == self.before:
            expect(run.status != 0, f"status 0 and the old recording\n{run.result.stderr}")
            return "old or nothing, and said so" if run.status > 0 else "killed: old or nothing"
        if not run.recording().has_fragments() or not run.recording().tags():
            expect(os.path.isdir(aside) and files_of(aside) == self.before, f"the old recording is nowhere\n{run.result.stderr}")
            expect(run.status < 0 or "cam.replaced" in run.result.stderr, "nobody says where the old recording is")
            run.recording().repair()
            if files_of(run.place + "/cam") == self.before:
                return "old put back by repair"
            expect(files_of(aside) == self.before and run.recording().tags(), "the old recording is nowhere")
            return "new one finished by repair, old one aside"
        return super().check(run)


class Repair(Scenario):
    name, source, ending = "repair", "film.mtg", ("--no-stop",)
    statuses = (0, 1, 4)  # What cannot be read is called damaged.

    def prepare(self, place):
        self.program.expect("record", f"{self.inputs}/{self.source}", "--out", place + "/cam", *GRID, *self.ending)

    def command(self, place):
        return ["repair", place + "/cam"]

    def learn(self, place):
        self.golden = Recording(self.program, place + "/cam").tags()
        expect(len(self.golden) > 0, "nothing was repaired")

    def check(self, run):
        tags, repaired = run.settle("cam")
        expect(tags == self.golden, f"{len(tags)} of {len(self.golden)} are left\n{run.result.stderr}")
        if run.status == 0:
            return "whole, status 0"
        return ("repaired by the next" if repaired else "whole already") + (", and said so" if run.status > 0 else ", killed")


class RepairFirst(Repair):
    """A recording killed between the index and the bootstrap of its first fragment."""
    name, source = "repair, no bootstrap", "short.mtg"

    def prepare(self, place):
        super().prepare(place)
        os.remove(place + "/cam/cam.bootstrap")


class RepairReplaced(Repair):
    """A new recording killed before its first fragment, and the old one aside."""
    name, ending = "repair, overwritten", ()

    def prepare(self, place):
        super().prepare(place)
        os.rename(place + "/cam", place + "/cam.replaced")
        os.mkdir(place + "/cam")
        shutil.copy(place + "/cam.replaced/cam.control", place + "/cam")

    def check(self, run):
        if not run.recording().has_fragments():
            run.recording().repair()
        return super().check(run)


class Two(Scenario):
    """A second program runs while the first one is stopped before a call, and continues or is killed afterwards.
    What there is then is what the two leave one after the other, or one alone where the other was refused."""
    kinds, statuses = ("", ""), (0, 1)
    options = {"new": (), "append": ("--append",), "overwrite": ("--overwrite",), "repair": None}

    def prepare(self, place):
        if "new" not in self.kinds:
            ending = ["--no-stop"] if "repair" in self.kinds else []
            self.program.expect("record", f"{self.inputs}/old.mtg", "--out", place + "/cam", *GRID, *ending)

    def command_of(self, which, place):
        options = self.options[self.kinds[which]]
        if options is None:
            return ["repair", place + "/cam"]
        source = f"{self.inputs}/{('film.mtg', 'later.mtg')[which]}"
        return ["record", source, "--out", place + "/cam", *GRID, "--quiet", *options]

    def command(self, place):
        return self.command_of(0, place)

    def content(self, place):
        return [tag.data for tag in Recording(self.program, place + "/cam").tags()]

    def learn(self, place):
        """What any order leaves, by the commands that came to a good end."""
        self.base = self.content(self.template)
        self.expected = collections.defaultdict(list)
        for order in ((0,), (1,), (0, 1), (1, 0)):
            trial = f"{place}-{''.join(map(str, order))}"
            self.copy(trial)
            good = frozenset(which for which in order if self.program.run(*self.command_of(which, trial)).returncode == 0)
            self.expected[good].append(self.content(trial))
        self.expected[frozenset()].append(self.base)

    def cases(self):
        return ((fault, first, 1) for fault in ("stopped", "stopped, killed") for first in range(len(self.calls)))

    def start(self, run):
        environment = self.program.environment(run.place, STOP, run.first, 1, CALLS)
        with subprocess.Popen([self.program.path, *self.command(run.place)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              text=True, env={**os.environ, **environment}) as first:
            os.waitid(os.P_PID, first.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT)
            run.second = self.program.run(*self.command_of(1, run.place))
            first.send_signal(signal.SIGKILL if "killed" in run.fault else signal.SIGCONT)
            output, errors = first.communicate(timeout=SECONDS)
        return subprocess.CompletedProcess(first.args, first.returncode, output, errors)

    def check(self, run):
        expect(run.second.returncode in (0, 1), f"the second: {run.second.returncode}\n{run.second.stderr}")
        expect(run.second.returncode == 0 or "error: " in run.second.stderr, "the second says nothing")
        if run.status == 0:
            expect(run.recording().verify() == 0, "a recording to repair")
        good = frozenset(which for which, status in enumerate((run.status, run.second.returncode)) if status == 0)
        if run.status < 0:
            return self.check_killed(run)
        found = self.content(run.place)
        told = f"{run.status} {run.result.stderr}\n{run.second.returncode} {run.second.stderr}"
        expect(found in self.expected[good], f"{len(found)} messages after {sorted(good)}\n{told}")
        return {0: "both refused", 1: "one refused, the other whole", 2: "both whole"}[len(good)]

    def check_killed(self, run):
        """The second one may have run before, or runs now."""
        place, aside = run.recording(), run.place + "/cam.replaced"
        if os.path.isdir(run.place + "/cam") and os.listdir(run.place + "/cam") or os.path.isdir(aside) and os.listdir(aside):
            repaired = self.program.run("repair", place.path)
            expect(repaired.returncode in (0, 1), f"repair: {repaired.returncode} {repaired.stdout}{repaired.stderr}")
        status = self.program.run(*self.command_of(1, run.place)).returncode
        expect(status == 0 or (status == 1 and self.kinds[1] in ("new", "repair")) or os.path.isdir(aside),
               f"the second is refused afterwards: {status}")
        place.verify()
        known = {data for contents in self.expected.values() for content in contents for data in content}
        found = self.content(run.place)
        expect(set(found) <= known, "messages of nobody")
        expect("overwrite" in self.kinds or found[:len(self.base)] == self.base, "the old recording has lost something")
        return "killed, and the place is free"


TWO = [type("Two", (Two,), {"kinds": kinds, "name": " and ".join(kinds)})
       for kinds in (("new", "new"), ("new", "append"), ("new", "overwrite"), ("new", "repair"), ("append", "append"),
                     ("append", "overwrite"), ("overwrite", "append"), ("overwrite", "overwrite"), ("append", "repair"),
                     ("repair", "append"), ("overwrite", "repair"), ("repair", "repair"))]


class Derived(Scenario):
    """What reads a recording makes its file whole or not at all, and touches nothing else."""
    made = ""

    def prepare(self, place):
        self.program.expect("record", f"{self.inputs}/film.mtg", "--out", place + "/cam", *GRID)

    def learn(self, place):
        self.before, self.after = files_of(self.template), files_of(place)

    def check(self, run):
        found = files_of(run.place)
        for name in [name for name in found if ".k2r-" in name]:
            may_stay = run.status < 0 or "unlink" in run.failed or "open" in run.failed
            expect(may_stay, f"{name} is left\n{run.result.stderr}")
            del found[name]
        if run.status == 0:
            expect(found == self.after, f"status 0 with another outcome\n{run.result.stderr}")
            return "whole, status 0"
        for name in {**self.before, **found}:
            content = found.get(name)
            expect(content in (self.before.get(name), self.after.get(name)), f"{name} is neither old nor new")
        expect(run.program.run(*self.command(run.place)).returncode == 0 or self.once, "a second attempt fails")
        return ("killed: " if run.status < 0 else "") + ("old or whole" if run.status < 0 else "old or nothing, and said so")

    once = False


class ExportMtg(Derived):
    name, once = "export .mtg", True

    def command(self, place):
        return ["export", place + "/cam", "--out", place + "/out.mtg"]


class ExportMp4(Derived):
    name, once = "export .mp4", True

    def command(self, place):
        return ["export", place + "/cam", "--out", place + "/out.mp4"]


class Playlist(Derived):
    name, options = "playlist", ("--out", "list.m3u8")

    def prepare(self, place):
        self.program.expect("record", f"{self.inputs}/old.mtg", "--out", place + "/cam", *GRID)
        self.program.expect(*self.command(place))
        self.program.expect("record", f"{self.inputs}/film.mtg", "--out", place + "/cam", "--append", *GRID)

    def command(self, place):
        return ["playlist", place + "/cam", self.options[0], f"{place}/{self.options[1]}"]


class PlainView(Playlist):
    name, options = "playlist --plain", ("--plain", "view")


SCENARIOS = [RecordNew, RecordFilm, RecordProtected, RecordChange, RecordSmallQueue, RecordLittleMemory, Append, AppendInterrupted,
             Overwrite, Repair, RepairFirst, RepairReplaced, ExportMtg, ExportMp4, Playlist, PlainView, *TWO]


def from_first_picture(tags):
    """Sound ahead of it, as in a file, is not recorded from a tag stream."""
    start = next(tag.time for tag in media(tags) if tag.type == 9)
    return [tag._replace(time=max(tag.time - start, 0)) for tag in tags if tag.time >= start or tag not in media(tags)]


def make_inputs(program, folder):
    """Four seconds of pictures and sound, others of the same kind, parts of them, and one whose sound changes."""
    os.makedirs(folder)
    tags = {}
    for name, rate, picture in (("film", 8000, "null"), ("other", 11025, "null"), ("later", 8000, "negate")):
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"testsrc2=s=64x48:r=10,{picture}", "-f", "lavfi", "-i",
                        f"anoisesrc=r={rate}:a=0.01:seed={len(picture)}", "-t", "4.05", "-c:v", "libx264", "-preset", "ultrafast",
                        "-bf", "0", "-g", "5", "-sc_threshold", "0", "-pix_fmt", "yuv420p", "-b:v", "20k", "-c:a", "aac",
                        "-b:a", "8k", "-ac", "1", f"{folder}/{name}.mp4"], check=True)
        program.expect("record", f"{folder}/{name}.mp4", "--out", f"{folder}/{name}", *GRID)
        program.expect("export", f"{folder}/{name}", "--out", f"{folder}/{name}.mtg")
        tags[name] = from_first_picture(read_tags(f"{folder}/{name}.mtg"))
        write_tags(f"{folder}/{name}.mtg", tags[name])
    for name, end in (("short", 1400), ("old", 2500)):
        write_tags(f"{folder}/{name}.mtg", [tag for tag in tags["film"] if tag.time < end])
    write_tags(f"{folder}/change.mtg",
               [tag for tag in tags["film"] if tag.time < 2000] +
               [tag._replace(time=tag.time + 2000) for tag in tags["other"] if tag.time < 2000 and tag.type in (8, 9)])
    program.expect("keys", "new", f"{folder}/keys")


class Adversary:
    def __init__(self, program, work):
        self.program, self.work = program, work
        self.inputs = work + "/inputs"
        make_inputs(program, self.inputs)
        self.scenarios = {kind.name: kind(program, work, self.inputs) for kind in SCENARIOS}
        self.outcomes = collections.Counter()
        self.failures = []
        self.ended = threading.Event()

    def cases(self, runs, rng):
        shares = {name: 1 if isinstance(scenario, Two) else 4 for name, scenario in self.scenarios.items()}
        for name, scenario in self.scenarios.items():
            everything = list(scenario.cases())
            share = -(-runs * shares[name] // sum(shares.values()))
            for fault, first, count in rng.sample(everything, min(share, len(everything))):
                yield f"{name}/{fault}/{first}/{count}"

    def run(self, case):
        place = f"{self.work}/run-{case.replace('/', '-').replace(' ', '_')}"
        run = Run(self.program, case, place)
        outcome = run.perform(self.scenarios[run.name])
        shutil.rmtree(place)
        if os.path.exists(place + ".trace"):
            os.remove(place + ".trace")
        return run.name, run.fault, outcome

    def attempt(self, case):
        if self.ended.is_set():
            return
        try:
            self.outcomes[self.run(case)] += 1
        except Exception as fault:  # One that the driver did not think of is a failure, too.
            words = str(fault) if isinstance(fault, Fault) else traceback.format_exc()
            self.failures.append(case)
            print(f"FAILED '{case}': {words}", flush=True)


def print_table(outcomes):
    rows = collections.defaultdict(collections.Counter)
    for (name, fault, outcome), count in outcomes.items():
        rows[name, fault][outcome] += count
    print("| Command | Fault | Runs | What came of them |\n|---|---|---|---|")
    for (name, fault), found in rows.items():
        parts = ", ".join(f"{count} {outcome}" for outcome, count in found.most_common())
        print(f"| {name} | {fault} | {sum(found.values())} | {parts} |")


def main():
    folder, work, seed, amount = sys.argv[1:]
    adversary = Adversary(Program(folder), work)
    if not amount.isdigit():
        for case in amount.split(";"):
            print(case, adversary.run(case))
        return
    begin = time.monotonic()
    rng = random.Random(int(seed))
    cases = list(adversary.cases(int(amount), rng))
    rng.shuffle(cases)  # So that a run that is broken off has some of each.
    signal.signal(signal.SIGTERM, lambda *_: adversary.ended.set())
    with concurrent.futures.ThreadPoolExecutor(int(os.environ.get("K2R_FAULT_JOBS", 2 * os.cpu_count()))) as pool:
        list(pool.map(adversary.attempt, cases))
    print_table(adversary.outcomes)
    runs = sum(adversary.outcomes.values()) + len(adversary.failures)
    print(f"seed {seed}: {runs} runs, {len(adversary.failures)} failed, {time.monotonic() - begin:.0f} s")
    sys.exit(1 if adversary.failures else 0)


main()
