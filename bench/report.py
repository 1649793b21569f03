#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Joins the results of the bench programs into one table of ratios with a verdict for each row.

usage: bench/report.py RESULT... [--json OUT]

A RESULT is a file of JSON lines {"row", "contender", "rounds"} or a JSON file of Google Benchmark
whose benchmarks are called "row/contender" and have a counter "bytes" if they measure no time. A row
of the table below names the two contenders, their comparison, and its targets: the minimum that must
be reached and the aim. Rows without figures are left out and named on standard error.
"""
import json
import re
import statistics
import sys

# A throughput is the peer's time over ours: at least the minimum. A time is ours over the peer's: at
# most the minimum. A size is in MiB: at most the minimum.
THROUGHPUT, TIME, SIZE, FIGURE = "throughput", "time", "size", "figure"

STRIPS = ("libtiff strips", None, None)
FLAT_GROUPS = ("flat", "page", "matte", "soft")


def targets():
    """Yields (label, row, contender, peer, kind, minimum, aim) in the order of the table."""
    def decode(group, peers, ours="ours"):
        for peer, minimum, aim in peers:
            label = "decode " + re.sub("scaled-(.*)", r"\1 scaled down", group) + ("" if ours == "ours" else f", {ours}")
            yield label, f"decode {group}", ours, peer, THROUGHPUT, minimum, aim

    for group in ("photograph", "scaled-photograph"):
        yield from decode(group, (("libtiff", 1.4, 1.6), STRIPS, ("qoi", 4.5, 5.5), ("memcpy", 0.45, 0.6)))
    for group in ("artwork", "scaled-artwork"):
        yield from decode(group, (("libtiff", 0.8, 0.9), STRIPS, ("qoi", 5, 6), ("memcpy", None, None)))
    yield from decode("noise", (("libtiff", 0.65, 0.75), STRIPS, ("qoi", 2.5, 3)))
    for group in FLAT_GROUPS:
        yield from decode(group, (("libtiff", 1.6, 1.8), STRIPS, ("qoi", 1.7, 2), ("memcpy", 1.0, 1.2)))
    yield from decode("photograph", (("libtiff", 0.8, 0.86),), "portable")
    yield from decode("flat", (("libtiff", 1.5, 1.7),), "portable")
    for group in ("photograph", "artwork", *FLAT_GROUPS, "noise"):
        noise = group == "noise"
        yield (f"encode {group}", f"encode {group}", "ours", "libtiff", THROUGHPUT,
               3 if noise else 3.2, 4.5 if noise else 4.2)
        yield (f"encode {group}", f"encode {group}", "ours", "qoi", THROUGHPUT,
               1.2 if noise else 3, 1.8 if noise else 4)
    yield "planes to host line", "planes to line", "ours", "memcpy", THROUGHPUT, 2, 2.8
    yield "host line to planes", "line to planes", "ours", "memcpy", THROUGHPUT, 1.5, 1.8
    yield "query round trip", "query round trip", "ours", "raw", TIME, 1.10, 1.05
    yield "get-line request", "line request", "get-line", "round trip", TIME, 2.4, 2.0
    yield "put-line request", "line request", "put-line", "round trip", TIME, 2.4, 2.0
    for group in ("matte", "noise"):
        yield f"line request on a TAG, {group}", f"line of a file {group}", "TAG", "PIC", TIME, 1.5, 1.1
    yield "decode of a written photograph", "written photograph", "ours", "one call", THROUGHPUT, 0.9, 1.0
    yield "write a photograph", "write photograph", "ours", "pixels", TIME, 1.6, 1.25
    yield "write a photograph", "write photograph", "ours", "file", TIME, None, None
    for request in ("get-cache", "put-cache"):
        yield f"{request}, photograph", f"{request} photograph", "ours", "memcpy", THROUGHPUT, 0.16, 0.22
        yield f"{request}, flat", f"{request} flat", "ours", "memcpy", THROUGHPUT, 0.2, 0.36
        for group in ("photograph", "flat"):
            yield (f"{request} without coding, {group}", f"{request} {group}", "no coding", "memcpy",
                   THROUGHPUT, None, None)
    yield "start of a driver", "driver start", "ours", "hello", TIME, 1.5, 1.35
    yield "convert to PIC, photograph", "convert to PIC", "ours", "cp", TIME, 3, 2.2
    yield "convert to PIC, photograph", "convert to PIC", "ours", "ImageMagick SGI", TIME, None, None
    yield "convert to PIC, photograph", "convert to PIC", "ours", "ImageMagick TGA", TIME, None, None
    yield "convert to PNG, photograph", "convert to PNG", "ours", "ImageMagick", TIME, 0.8, 0.6
    yield "PIC to PNG, photograph, processor time", "PIC to PNG", "ours", "ImageMagick", TIME, 0.5, 0.3
    yield "size of that PNG", "size of PNG", "ours", "ImageMagick", TIME, 1, 1
    yield "PNG to PIC, photograph, processor time", "PNG to PIC", "ours", "ImageMagick", TIME, 0.6, 0.4
    yield "200 frames to PNG, one job", "frames to PNG", "ours", "mogrify", TIME, 1, 0.7
    yield "200 frames to PIC, one job", "frames to PIC", "ours", "mogrify", TIME, 0.9, 0.6
    yield "two jobs, wall", "frames, two jobs", "ours", "one job", THROUGHPUT, 1.7, 1.9
    yield "tdr check of 200 frames", "check", "ours", "decoding", TIME, 1.3, 1.1
    yield "tdr info of 1,000 pictures", "info", "ours", "identify", TIME, 1, 0.3
    yield "its first line, share of the whole", "info, first line", "ours", "all", TIME, 0.05, 0.01
    yield "memory of a driver, line by line", "driver memory", "bytes", None, SIZE, 5, 3.5
    yield "50 MB scene: read", "scene read", "ours", "fread", TIME, 9, 6
    yield "50 MB scene: write", "scene write", "ours", "fwrite", TIME, 7, 5
    for kind, megabytes in (("hierarchy", 50), ("spline", 10)):
        for flavour in ("text", "binary"):
            for work, peer in (("read", "fread"), ("write", "fwrite")):
                yield (f"{megabytes} MB {kind}, {flavour}: {work}", f"{flavour} {kind} {work}", "ours", peer,
                       TIME, None, None)
    for what in ("curves", "lights", "text"):
        yield f"peak memory reading a 36 MB scene of {what}", f"memory {what}", "ours", "file", TIME, 3, 2
    for work in ("read", "write"):
        for kind in ("empty", "full", "discs", "dots", "noise"):
            yield f"TAG 8192 x 8192, 3 channels, {kind}: {work}", f"TAG {work} {kind}", "ours", "memcpy", TIME, None, None
    for what in ("lines", "pixels", "lights", "keys", "nodes"):
        for power in (4, 5, 6):
            yield (f"growth: 10^{power} {what}, read and write", f"growth {what}", str(10**power),
                   str(10**(power - 1)), TIME, 13, 11)
    for keys in (1000, 30000):
        yield (f"curve of {keys} keys: evaluate", f"curve {keys}", "ours", "10 keys", TIME, None, None)


def google_benchmarks(document):
    """Figures of a Google Benchmark file: the repetitions of each "row/contender"."""
    for run in document["benchmarks"]:
        if run.get("run_type") == "iteration" and not run.get("error_occurred"):
            row, contender = run["run_name"].split("/")[:2]
            yield row, contender, run.get("bytes", run["cpu_time"])


def read_figures(paths):
    """All figures as {(row, contender): [times]}."""
    figures = {}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            text = file.read()
        if text.lstrip().startswith("{") and '"context"' in text[:200]:
            entries = google_benchmarks(json.loads(text))
        else:
            entries = ((e["row"], e["contender"], t) for e in map(json.loads, text.splitlines())
                       for t in e["rounds"])
        for row, contender, time in entries:
            figures.setdefault((row, contender), []).append(time)
    return figures


def median_of(figures, row, contender):
    """Median over the rounds of every row with this prefix (the pictures of one group)."""
    times = [t for (r, c), ts in figures.items() if c == contender and (r == row or r.startswith(row + " "))
             for t in ts]
    return statistics.median(times) if times else None


def verdict(kind, value, minimum, aim):
    if minimum is None:
        return "reported"
    better = (lambda limit: value >= limit) if kind == THROUGHPUT else (lambda limit: value <= limit)
    return "aim reached" if better(aim) else "above minimum" if better(minimum) else "BELOW MINIMUM"


def rows(figures, missing):
    """Yields the rows of the table; those without figures are added to `missing`."""
    for label, row, contender, peer, kind, minimum, aim in targets():
        ours = median_of(figures, row, contender)
        theirs = None if peer is None else median_of(figures, row, peer)
        if ours is None or (peer is not None and not theirs):
            missing.append(f"{label} (to {peer or 'MiB'})")
            continue
        value = {THROUGHPUT: lambda: theirs / ours, TIME: lambda: ours / theirs,
                 SIZE: lambda: ours / 2**20}[kind]()
        yield {"what": label, "to": peer or "MiB", "kind": kind, "value": value, "minimum": minimum,
               "aim": aim, "verdict": verdict(kind, value, minimum, aim)}


def main(arguments):
    out = None
    if "--json" in arguments:
        at = arguments.index("--json")
        out = arguments[at + 1]
        del arguments[at:at + 2]
    missing = []
    table = list(rows(read_figures(arguments), missing))
    print("| what | ratio to | figure | minimum | aim | verdict |")
    print("|---|---|---|---|---|---|")
    for r in table:
        sign = "≥" if r["kind"] == THROUGHPUT else "≤"
        limit = lambda v: "" if v is None else f"{sign} {v:g}"
        print(f"| {r['what']} | {r['to']} | {r['value']:.2f} | {limit(r['minimum'])} | "
              f"{limit(r['aim'])} | {r['verdict']} |")
    if missing:
        print(f"report: no figures for {len(missing)} rows: {'; '.join(missing)}", file=sys.stderr)
    if out:
        with open(out, "w", encoding="utf-8") as file:
            json.dump(table, file, indent=1)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
