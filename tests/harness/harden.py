#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Fails system calls and allocations, and kills processes, during whole runs of tdr.

BIN holds tdr and the drivers, TOOLS the programs built from this folder. The last lines are a table
of what was tried and what held; exit status 1: not all held, 77: this system forbids tracing.
"""
import argparse, collections, contextlib, ctypes, multiprocessing, os, pathlib, random, re, shutil
import signal, struct, subprocess, sys, tempfile, time, zlib

SHORT = 500    # calls that the short form fails
DEADLINE = 40  # seconds until a run counts as hanging
ANSWER = 2     # seconds for a driver's answer, which some faults suppress
PATIENCE = 60  # the same in runs without a fault
SETTLE = 5     # seconds for orphans to end by themselves
WORKERS = 6 * os.cpu_count()  # runs wait more than they compute
OLD = b"what the target held before\n"
WIDTH, HEIGHT = 9, 7  # of the picture; without a block for all of it a conversion goes line by line

# The command, the file it writes, the processes to fail one at a time, environment, status of failure.
Scenario = collections.namedtuple("Scenario", "name command target processes environment failed",
                                  defaults=({}, 1))
CONVERSION = ("tdr", "softimageFilter", "pngFilter")
SCENARIOS = [
    Scenario("pic-to-png", "convert --force in.pic out.png", "out.png", CONVERSION),
    Scenario("png-to-pic", "convert --force in.png out.pic", "out.pic", CONVERSION),
    Scenario("tag-to-png", "convert --force in.tag out.png", "out.png", CONVERSION),
    Scenario("lines", "convert --force in.pic out.png", "out.png", CONVERSION,
             {"FAULT_BLOCK": str(WIDTH * HEIGHT * 4)}),
    Scenario("batch", "convert --force -j 1 in.pic -o out.png", "out.png", CONVERSION),
    Scenario("compare", "compare in.pic in.png", "bystander", CONVERSION, {}, 4),
    Scenario("scene", "scene format in.scn --in-place", "in.scn", ("tdr",)),
    Scenario("plot", "plot in.spl -o out.svg --force", "out.svg", ("tdr",)),
]
SAMPLES = {"in.tag": "fuzz/corpus/matte/literal", "in.scn": "samples/lighthouse.scn",
           "in.spl": "samples/vase.spl"}

# Deaths: the process, the signal, and the number of runs in the full and in the short form.
DEATHS = [("driver", "KILL", 50, 10), ("tdr", "KILL", 50, 10), ("both", "KILL", 50, 10)] + [
    (who, name, 10, 2) for who in ("tdr", "both") for name in ("INT", "TERM", "HUP", "PIPE", "TSTP")]

Case = collections.namedtuple("Case", "scenario process kind number fault death", defaults=(None,))


def lineOf(case):
    return f"{case.scenario.name} {case.process} {case.kind} {case.number} {case.fault}"


def childrenOf(pid):
    with contextlib.suppress(FileNotFoundError):
        return [int(word) for word in textOf(f"/proc/{pid}/task/{pid}/children").split()]
    return []


def segments():
    """The existing shared memory segments: id and the process that made it."""
    with open("/proc/sysvipc/shm", encoding="ascii") as table:
        return {(row[1], row[4]) for row in map(str.split, table)}


def takeSegmentsOf(pid, known):
    """Removes the segments that a process made; returns their ids. Process ids may be reused."""
    ids = [number for number, maker in segments() - known if maker == str(pid)]
    for number in ids:
        subprocess.run(["ipcrm", "-m", number], check=False)
    return ids


def textOf(path):
    path = pathlib.Path(path)
    return path.read_text(errors="replace") if path.exists() else ""


def pictureOf(data):
    """The chunks and the pixels of a whole PNG in RGBA: a driver that is short of memory compresses
    them in another way. Other files as they are."""
    if data is None or not data.startswith(b"\x89PNG"):
        return data
    chunks, packed, at = [], b"", 8
    while at < len(data):
        size, name = struct.unpack_from(">I4s", data, at)
        body = data[at + 8:at + 8 + size]
        packed += body if name == b"IDAT" else b""
        chunks += [(name, body)] if name != b"IDAT" else []
        at += size + 12
    filtered, stride = zlib.decompress(packed), 4 * struct.unpack(">I", chunks[0][1][:4])[0]
    pixels = bytearray(4 + stride)  # a row of zeros; each row begins with a pixel of zeros
    for start in range(0, len(filtered), 1 + stride):
        above = pixels[-4 - stride:]
        row = bytearray(4)
        for i, byte in enumerate(filtered[start + 1:start + 1 + stride]):
            left, up, corner = row[i], above[i + 4], above[i]
            nearest = min((left, up, corner), key=lambda value: abs(left + up - corner - value))
            row.append((byte + (0, left, up, (left + up) // 2, nearest)[filtered[start]]) % 256)
        pixels += row
    return chunks, pixels


class Death:
    """A signal during a run, to tdr, to one of its drivers, or to both."""

    def __init__(self, who, name, seconds, choice):
        self.who, self.name, self.seconds, self.choice = who, name, seconds, choice
        self.leaves = name == "KILL" and who != "driver"  # the next run has to clean up

    def strike(self, child):
        time.sleep(self.seconds)
        drivers = childrenOf(child.pid)
        if self.who == "driver" and drivers:
            drivers = [drivers[self.choice % len(drivers)]]
        chosen = [child.pid] * (self.who != "driver") + drivers * (self.who != "tdr")
        for name in (self.name, "CONT")[:1 + (self.name == "TSTP")]:
            for pid in chosen:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(pid, signal.Signals["SIG" + name])
            time.sleep(0.05 if name == "TSTP" else 0)


def goodStatuses(case):
    """The allowed exit statuses; a negative one is a signal."""
    if case.death is None or case.death.who == "driver":
        failed = case.scenario.failed
        return (0, failed, 2, 3) if case.kind == "stat" else (0, failed, 3)  # 2: an option's folder
    number = signal.Signals["SIG" + case.death.name]
    return {"TSTP": (0,), "PIPE": (0, 3, -number)}.get(case.death.name, (0, -number))


class Bench:
    """Runs one case at a time in a new folder and judges it."""

    def __init__(self, options, samples, references=None):
        self.bin, self.tools = pathlib.Path(options.bin), pathlib.Path(options.tools)
        self.samples, self.references = samples, references or {}
        self.known = set()  # segments from before the run
        ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)  # PR_SET_CHILD_SUBREAPER: orphans become ours

    def run(self, case):
        """What is wrong at the end of a case (empty: it held), and its log."""
        with tempfile.TemporaryDirectory(prefix="tdr-harness-") as name:
            folder = pathlib.Path(name)
            before, self.known = self.lay(case.scenario, folder), segments()
            command, environment = self.plan(case, folder)
            child, wrong = self.start(folder, command, environment, case.death)
            wrong += self.judge(case, child, folder, before)
            if case.death and case.death.leaves:
                gone, case = child.pid, case._replace(death=None)
                child, more = self.start(folder, command, environment)
                wrong += more + self.judge(case, child, folder, before)
                wrong += [f"the next run left segment {number}"
                          for number in takeSegmentsOf(gone, self.known)]
            protocol = f"exit {child.returncode}\n" + textOf(folder / "log") + textOf(folder / "err")
            return wrong, protocol

    def lay(self, scenario, folder):
        """Fills the folder of a run; returns its files."""
        for made in ("work", "tmp", "drivers"):
            (folder / made).mkdir()
        (folder / "work" / scenario.target).write_bytes(OLD)
        for sample in self.samples.iterdir():
            if sample.name in scenario.command.split():
                shutil.copy(sample, folder / "work")
        return {path.name: path.read_bytes() for path in (folder / "work").iterdir()}

    def plan(self, case, folder):
        """The command and the environment of a case."""
        environment = dict(os.environ, TMPDIR=str(folder / "tmp"), LC_ALL="C.UTF-8",
                           LD_PRELOAD=str(self.tools / "libfailAllocation.so"),
                           **case.scenario.environment)
        limit = ANSWER if case.number and not case.death else PATIENCE
        command = [str(self.bin / "tdr"), "--timeout", str(limit), "--driver-dir",
                   str(folder / "drivers"), *case.scenario.command.split()]
        trace = [str(self.tools / "faultCall"), str(folder / "log"), case.kind, str(case.number),
                 case.fault]
        if case.process == "tdr":
            command = trace + command
        elif case.process:
            wrapper = folder / "drivers" / case.process
            wrapper.write_text(f"#!/bin/sh\nexec {' '.join(trace)} {self.bin / case.process} \"$@\"\n")
            wrapper.chmod(0o755)
        return command, environment

    def start(self, folder, command, environment, death=None):
        """Runs a command to its end; returns the process and what is wrong with its end."""
        with open(folder / "out", "wb") as out, open(folder / "err", "wb") as err:
            child = subprocess.Popen(command, cwd=folder / "work", env=environment, stdout=out,
                                     stderr=err, stdin=subprocess.DEVNULL, process_group=0)
            if death:
                death.strike(child)
            wrong = self.end(child)
        if child.returncode == 77:
            sys.exit(77)
        return child, wrong

    def end(self, child):
        """Waits for a process and its orphans; returns those that do not end."""
        wrong = []
        try:
            child.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            wrong.append(f"hung for {DEADLINE} s")
            child.kill()
            child.wait()
        until = time.monotonic() + SETTLE
        with contextlib.suppress(ChildProcessError):
            while time.monotonic() < until:
                if os.waitpid(-1, os.WNOHANG)[0] == 0:
                    time.sleep(0.005)
        for pid in childrenOf(os.getpid()):
            wrong.append(f"left {textOf(f'/proc/{pid}/cmdline')}".replace("\0", " "))
            os.kill(pid, signal.SIGKILL)
            os.waitpid(pid, 0)
        return wrong

    def judge(self, case, child, folder, before):
        """What a run has left behind wrongly."""
        wrong, status, target = [], child.returncode, case.scenario.target
        files = [path for place in ("work", "tmp") for path in (folder / place).rglob("*")]
        after = {path.name: path.read_bytes() for path in files if path.is_file()}
        output = (after.get(target), textOf(folder / "out"))
        reference = self.references.setdefault(case.scenario.name, output)
        same = output == reference
        with contextlib.suppress(zlib.error, struct.error, IndexError):
            same = same or (output[1] == reference[1] and
                            pictureOf(output[0]) == pictureOf(reference[0]))
        if case.fault == "EPIPE" and output[0] == reference[0]:
            same = same or reference[1].startswith(output[1])  # its reader may go before the end
        if status == 0 and not same:
            wrong.append("success, but the output is not the right one")
        if status not in goodStatuses(case):
            wrong.append(f"ended with {status}")
        if status > 0 and not textOf(folder / "err").strip():
            wrong.append("failed without a reason on stderr")
        if status != 0 and output[0] not in [before[target]] + [reference[0]] * bool(case.death):
            wrong.append("the old target was touched")
        if any(after.get(name) != data for name, data in before.items() if name != target):
            wrong.append("an input changed")
        if not (case.death and case.death.leaves):
            wrong += [f"left {path.name}" for path in files if path.name not in before]
            wrong += [f"left segment {number}" for number in takeSegmentsOf(child.pid, self.known)]
        return wrong


def learn(bench):
    """All cases of failing calls: runs each scenario without a fault and counts its calls."""
    for scenario in SCENARIOS:
        for process in scenario.processes:
            wrong, protocol = bench.run(Case(scenario, process, "count", 0, "none"))
            assert not wrong and protocol.startswith("exit 0"), (scenario, wrong, protocol)
            counts = collections.Counter()
            for kind, count, faults in re.findall(r"^counted (\w+) (\d+) (.*)$", protocol, re.M):
                counts[kind, faults] = max(counts[kind, faults], int(count))
            yield from (Case(scenario, process, kind, number, fault) for kind, faults in counts
                        for fault in faults.split()
                        for number in range(1, counts[kind, faults] + 1))


def sample(cases, size):
    """A sample of the cases, the same in every run, with some of each kind, fault and process."""
    groups = collections.defaultdict(list)
    for case in cases:
        groups[case.kind, case.fault, case.process].append(case)
    chosen, share = [], 0
    while len(chosen) < min(size, len(cases)):
        share += 1
        chosen = [group[i * len(group) // share] for group in groups.values() if share <= len(group)
                  for i in range(share)] + [case for group in groups.values() if share > len(group)
                                            for case in group]
    return chosen


def deaths(short, seed, seconds):
    """Deaths at moments chosen by the seed, in conversions that take about `seconds`."""
    chance = random.Random(seed)
    return [Case(chance.choice(SCENARIOS[:4]), who, name, number + 1, f"seed {seed}",
                 Death(who, name, chance.random() * seconds, chance.randrange(9)))
            for who, name, *counts in DEATHS for number in range(counts[short])]


def startWorker(*arguments):
    global bench
    bench = Bench(*arguments)


def runOne(case):
    return (case, *bench.run(case))


def harden(options, samples):
    source = pathlib.Path(__file__).parents[2]
    for made, name in SAMPLES.items():
        shutil.copy(source / name, samples / made)
    scene = (samples / "in.scn").read_bytes()
    (samples / "in.scn").write_bytes(scene.replace(b"\n   ", b"\n"))  # what formatting restores
    raw = (source / "fuzz/corpus/picture/raw").read_bytes()  # becomes larger, its pixels all different
    (samples / "raw.pic").write_bytes(raw[:92] + bytes((0, WIDTH, 0, HEIGHT)) + raw[96:108]
                                      + bytes(range(WIDTH * HEIGHT * 4)))
    for made, name in (("raw.pic", "in.png"), ("in.png", "in.pic")):
        subprocess.run([f"{options.bin}/tdr", "convert", made, name], cwd=samples, check=True)
    first = Bench(options, samples)
    if options.case:
        name, process, kind, number, fault = options.case.split()
        scenario = next(scenario for scenario in SCENARIOS if scenario.name == name)
        first.run(Case(scenario, "", "", 0, ""))
        wrong, protocol = first.run(Case(scenario, process, kind, int(number), fault))
        print(protocol, *wrong, sep="\n")
        return 1 if wrong else 0
    cases = list(learn(first))
    began = time.monotonic()
    first.run(Case(SCENARIOS[0], "", "", 0, ""))
    seconds = time.monotonic() - began
    cases = sample(cases, SHORT) if options.short else cases
    cases += deaths(options.short, options.seed, seconds)
    cases = [case for case in cases if set(options.only) <= set(lineOf(case).split())]
    tried, held = collections.Counter(), collections.Counter()
    with multiprocessing.Pool(WORKERS, startWorker, (options, samples, first.references)) as pool:
        for case, wrong, protocol in pool.imap_unordered(runOne, cases, 4):
            rows = (case.kind, "deaths" if case.death else "calls failed")
            tried.update(rows)
            held.update(() if wrong else rows)
            if wrong:
                print(f"--case '{lineOf(case)}': {'; '.join(wrong)}",
                      *protocol.strip().splitlines()[:6], sep="\n    ", flush=True)
    for row in sorted(tried, key=tried.get):
        print(f"{row:16}{tried[row]:8} tried{held[row]:8} held")
    return 0 if tried == held else 1


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("bin", type=os.path.abspath)
    parser.add_argument("tools", type=os.path.abspath)
    parser.add_argument("--short", action="store_true", help="a sample of the cases")
    parser.add_argument("--seed", type=int, default=1, help="chooses the moments of the deaths")
    parser.add_argument("--only", action="append", default=[], help="cases whose line has this word")
    parser.add_argument("--case", help="run 'SCENARIO PROCESS KIND N FAULT' and show what it said")
    with tempfile.TemporaryDirectory(prefix="tdr-harness-") as samples:
        return harden(parser.parse_args(), pathlib.Path(samples))


if __name__ == "__main__":
    sys.exit(main())
