#!/usr/bin/env python3
"""Prints the benchmark suite's summary table from the Google Benchmark JSON files of one run.

Usage: bench/summarize.py RESULTS_DIR [--out FILE] [--check]

Each row is a figure, the floor or peer measured in the same run, their ratio and the goal with
a mark: pass, MISS (the goal is not met), NOISY (met, but the run cannot vouch for it) or n/a
(not measured). With --check the exit status is 1 unless every goal row passes.

The results hold every repetition. Repetitions of one program run interleaved, in rounds, so a
figure and its floor are compared round by round: the ratio is the median of the rounds'
ratios. Its noise is their coefficient of variation, taken over the rounds within Tukey's fences
(a round that another tenant of the machine disturbed falls outside and is counted); a row is
NOISY when that exceeds NOISE_LIMIT percent. Times are CPU time for work done on one thread,
real time for hand-offs between threads. A figure whose benchmark (or peer) did not run shows as
n/a. Only the standard library is used.
"""

import glob
import json
import math
import os
import re
import sys

# ---- reading the results ------------------------------------------------------------------------

_TO_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
# Name parts that say how a benchmark was run, not what it measures.
_RUN_PARTS = re.compile(
    r"/(iterations|repeats|min_time|threads):[^/]*|/real_time|/manual_time|/process_time")


def _load(path):
    """Reads one results file; a file cut short (a crashed benchmark) keeps its complete runs."""

    with open(path, encoding="utf-8", errors="replace") as f:
        text = f.read()
    try:
        return json.loads(text)
    except ValueError:
        pass
    # Keep everything up to the last complete run object and close the lists.
    end = text.rfind("\n    }")
    while end > 0:
        try:
            return json.loads(text[: end + 6] + "\n  ]\n}")
        except ValueError:
            end = text.rfind("\n    }", 0, end)
    return None


def _quantile(ordered, q):
    """The q-quantile of sorted values, interpolated between neighbours."""

    position = q * (len(ordered) - 1)
    below = int(math.floor(position))
    above = min(below + 1, len(ordered) - 1)
    return ordered[below] + (ordered[above] - ordered[below]) * (position - below)


class Series:
    """One figure per repetition, keyed by the repetition's index. With interleaved repetitions
    the runs of one index, one of each benchmark of a program, ran within moments of each other,
    so a figure and its floor are compared index by index."""


    def __init__(self, values):
        self.values = {k: v for k, v in values.items()
                       if v is not None and not (isinstance(v, float) and math.isnan(v))}

    def median(self):
        if not self.values:
            return None
        ordered = sorted(self.values.values())
        middle = len(ordered) // 2
        if len(ordered) % 2:
            return ordered[middle]
        return (ordered[middle - 1] + ordered[middle]) / 2

    def settled(self):
        """The values within Tukey's fences (1.5 interquartile ranges beyond the quartiles): a
        repetition that another tenant of the machine disturbed falls outside and is left out."""

        ordered = sorted(self.values.values())
        if len(ordered) < 4:
            return ordered
        q1, q3 = _quantile(ordered, 0.25), _quantile(ordered, 0.75)
        low, high = q1 - 1.5 * (q3 - q1), q3 + 1.5 * (q3 - q1)
        return [v for v in ordered if low <= v <= high]

    def cv(self):
        """Coefficient of variation in percent (sample standard deviation over the mean) of the
        settled values, or None for fewer than two."""

        values = self.settled()
        if len(values) < 2:
            return None
        mean = sum(values) / len(values)
        if mean == 0:
            return None
        variance = sum((v - mean) ** 2 for v in values) / (len(values) - 1)
        return 100.0 * math.sqrt(variance) / abs(mean)

    def disturbed(self):
        """How many repetitions fell outside the fences."""

        return len(self.values) - len(self.settled())

    def map(self, fn):
        return Series({k: fn(v) for k, v in self.values.items()})

    def pair(self, other, fn):
        return Series({k: fn(v, other.values[k]) for k, v in self.values.items()
                       if k in other.values})


class Results:
    """Benchmarks by name, each a Series of its runs (one per repetition)."""


    def __init__(self, directory):
        self.runs = {}  # name -> {repetition index: run}
        self.contexts = []
        self.files = []
        for path in sorted(glob.glob(os.path.join(directory, "*.json"))):
            data = _load(path)
            if not data:
                continue
            self.files.append(os.path.basename(path))
            if "context" in data:
                self.contexts.append(data["context"])
            for run in data.get("benchmarks", []):
                self._add(run)

    def _add(self, run):
        if run.get("error_occurred") or run.get("run_type", "iteration") != "iteration":
            return
        name = _RUN_PARTS.sub("", run.get("run_name", run.get("name", "")))
        runs = self.runs.setdefault(name, {})
        runs[run.get("repetition_index", len(runs))] = run

    def _series(self, name, key, scale=None):
        runs = self.runs.get(name, {})
        return Series({index: run[key] * (scale(run) if scale else 1.0)
                       for index, run in runs.items() if key in run})

    @staticmethod
    def _ns(run):
        return _TO_NS.get(run.get("time_unit", "ns"), 1.0)

    def cpu(self, name):
        """CPU time in nanoseconds, per repetition."""

        return self._series(name, "cpu_time", self._ns)

    def real(self, name):
        """Real (wall-clock) time in nanoseconds, per repetition."""

        return self._series(name, "real_time", self._ns)

    def counter(self, name, key):
        return self._series(name, key)


# ---- arithmetic on figures: a Series, a plain number, or None (not measured) ------------------


def _ok(*values):
    for v in values:
        if v is None or (isinstance(v, float) and math.isnan(v)):
            return False
        if isinstance(v, Series) and not v.values:
            return False
    return True


def _combine(a, b, fn):
    if not _ok(a, b):
        return None
    if isinstance(a, Series) and isinstance(b, Series):
        return a.pair(b, fn)
    if isinstance(a, Series):
        return a.map(lambda v: fn(v, b))
    if isinstance(b, Series):
        return b.map(lambda v: fn(a, v))
    return fn(a, b)


def div(a, b):
    return _combine(a, b, lambda x, y: x / y if y != 0 else None)


def sub(a, b):
    return _combine(a, b, lambda x, y: x - y)


def mul(a, k):
    return _combine(a, k, lambda x, y: x * y)


def median(x):
    return x.median() if isinstance(x, Series) else x


def cv(x):
    return x.cv() if isinstance(x, Series) else None


def disturbed(x):
    return x.disturbed() if isinstance(x, Series) else 0


def rounds(x):
    return len(x.values) if isinstance(x, Series) else 0


# ---- the table ----------------------------------------------------------------------------------


# Marks a row without a floor or peer.
NOREF = object()
ROW = "  {:<54} {:>12} {:>12} {:>8}  {:<9} {:<5} {:>5} {:>7}"


class Table:
    def __init__(self):
        self.lines = []
        self.passed = 0
        self.missed = 0
        self.noisy = 0
        self.unknown = 0

    def section(self, title):
        self.lines.append("")
        self.lines.append(title)

    def row(self, label, value, ref=NOREF, goal=None, higher=False, unit_format="{:.1f}",
            beside=None):
        """One figure, with its floor or peer unless `ref` is left out. `goal` is a bound on
        value/ref (<=, or >= when `higher`), ("abs", limit) or ("abs", limit, unit) for a bound
        on the value alone (unit "ns" unless given), or None for a figure shown for context only.
        `beside` is a figure shown in brackets in the floor's column, for reference only. A
        figure or floor that did not run shows as n/a. The value and the floor shown are
        medians over the repetitions; the ratio is the median of the ratios of the same
        repetition, and the noise is their coefficient of variation (the value's own without a
        floor).
        """

        has_ref = ref is not NOREF
        ratios = div(value, ref) if has_ref else None
        judged = ratios if has_ref else value
        noise, out, count = cv(judged), disturbed(judged), rounds(judged)
        value, ref, ratio = median(value), median(ref) if has_ref else ref, median(ratios)
        noisy = _ok(noise) and noise > NOISE_LIMIT
        if goal is None:
            goal_text, mark = "", "-"
        elif isinstance(goal, tuple):
            goal_text = "<= {:g} {}".format(goal[1], goal[2] if len(goal) > 2 else "ns")
            mark = ("pass" if value <= goal[1] else "MISS") if _ok(value) else "n/a"
        else:
            goal_text = "{} {:g}x".format(">=" if higher else "<=", goal)
            if _ok(ratio):
                mark = "pass" if (ratio >= goal if higher else ratio <= goal) else "MISS"
            else:
                mark = "n/a"
        if mark == "pass" and noisy:
            mark = "NOISY"
        if mark == "pass":
            self.passed += 1
        elif mark == "MISS":
            self.missed += 1
        elif mark == "NOISY":
            self.noisy += 1
        elif mark == "n/a":
            self.unknown += 1

        def fmt(x):
            return unit_format.format(x) if _ok(x) else "n/a"

        ref_text = fmt(ref) if has_ref else ""
        if beside is not None:
            ref_text = "({})".format(fmt(median(beside)))
        ratio_text = ("{:.2f}x".format(ratio) if _ok(ratio) else "n/a") if has_ref else ""
        noise_text = "{:.0f}%".format(noise) if _ok(noise) else ""
        out_text = "{}/{}".format(out, count) if count > 1 else ""
        self.lines.append(ROW.format(label, fmt(value), ref_text, ratio_text, goal_text, mark,
                                     noise_text, out_text))

    def text(self, header):
        head = ROW.format("figure", "value", "floor/peer", "ratio", "goal", "mark", "cv", "outside")
        out = header + [head, "  " + "-" * (len(head) - 2)] + self.lines
        out.append("")
        out.append("  goals: {} pass, {} miss, {} noisy (cv > {}%), {} n/a".format(
            self.passed, self.missed, self.noisy, NOISE_LIMIT, self.unknown))
        return "\n".join(out)

    def all_passed(self):
        return self.passed > 0 and self.missed == 0 and self.noisy == 0 and self.unknown == 0


def build(r):
    t = Table()

    # ---- configuration store ----
    t.section("Configuration store: ns per operation, side by side; floor = std::map under "
              "std::recursive_mutex")
    def sides(bench):
        return r.counter(bench, "ns:store"), r.counter(bench, "ns:floor")

    t.row("Get", *sides("BM_Get"), 1.3)
    t.row("Set, value changed, no observer", *sides("BM_SetChanged"), 2)
    t.row("Set, same value, no observer", *sides("BM_SetSame"), 2)
    t.row("Set new key + remove it, no observer", *sides("BM_SetNewKeyAndRemove"), 2)

    # ---- notification ----
    t.section("Change notification: ns per operation, real time, side by side with the floor "
              "(hand-offs include the other thread's work)")
    set0 = r.counter("BM_DirectDelivery", "ns:set0")
    set1 = r.counter("BM_DirectDelivery", "ns:set1")
    set10 = r.counter("BM_DirectDelivery", "ns:set10")
    call = div(r.counter("BM_DirectDelivery", "ns:calls10"), 10)
    t.row("Set with 0 direct subscribers", set0)
    t.row("Set with 1 direct subscriber", set1)
    t.row("Set with 10 direct subscribers", set10)
    t.row("Direct delivery per subscriber, (set10-set1)/9", div(sub(set10, set1), 9), call, 3)
    t.row("  floor: one call of a std::function loop", call)
    t.row("  context: one delivery timer lap (cycle counter)", r.cpu("BM_DeliveryTimerLap"))
    t.row("  context: one fine platform clock read", r.cpu("BM_FineClockRead"))
    t.row("  context: one atomic read-modify-write", r.cpu("BM_AtomicReadModifyWrite"))
    t.row("Dynamic read through a provider", r.counter("BM_DynamicRead", "ns:provider"),
          r.counter("BM_DynamicRead", "ns:floor"))
    t.row("Sent delivery round trip (2 threads; floor on one CPU)",
          r.counter("BM_SentRoundTrip", "ns:store"),
          r.counter("BM_SentRoundTrip", "ns:handoff"), 1.5)

    def per_second(name, side):
        # Deliveries per second, in thousands, from the time of one batch.
        return div(POSTED_BATCH * 1e6, r.counter(name, "ns:" + side))

    t.row("Posted to one worker (k/s, 2 threads)", per_second("BM_PostedDeliveries", "store"),
          per_second("BM_PostedDeliveries", "queue"), 0.8, higher=True)
    t.row("Set that posts, per item (2 threads)", r.counter("BM_SetPostedPerItem", "ns:store"),
          r.counter("BM_SetPostedPerItem", "ns:queue"), 3)

    # ---- JSON ----
    t.section("JSON: MB/s of document text; ratio = mediastores / RapidJSON (side by side); goals "
              "on configuration dumps")

    def mbs(name):
        return div(r.counter(name, "bytes_per_second"), 1e6)

    def side_mbs(name, side):
        # Bytes per nanosecond, times a thousand: MB/s.
        return div(mul(r.counter(name, "bytes"), 1e3), r.counter(name, "ns:" + side))

    # (argument, label, goal for reading, goal for writing); no goal for the nested document.
    docs = [("doc:0", "config dump, 10k entries", 0.5, 1.0),
            ("doc:1", "config dump, 100k entries", 0.5, 1.0),
            ("doc:2", "nested mixed scalars", None, None)]
    for verb, kind in (("read", "Read"), ("write", "Write")):
        for arg, label, read_goal, write_goal in docs:
            pair = "BM_{}/{}".format(kind, arg)
            ours = side_mbs(pair, "mediastores")
            t.row("{} {} vs RapidJSON".format(verb.capitalize(), label), ours,
                  side_mbs(pair, "rapidjson"), read_goal if kind == "Read" else write_goal,
                  higher=True)
            peers = [("nlohmann-json", "Nlohmann"), ("JsonCpp", "JsonCpp")]
            if kind == "Read":
                # simdjson only reads: the fastest reader known, for reference.
                peers.append(("simdjson (the fastest reader known)", "Simdjson"))
            for peer, bench in peers:
                other = "BM_{}_{}/{}".format(kind, bench, arg)
                t.row("  beside: vs {}".format(peer), ours, mbs(other))
    t.section("JSON linearity: ms per document, side by side, 100k entries vs 10k entries "
              "(10x the entries)")
    for verb, bench in (("Read", "BM_JsonReadConfig"), ("Write", "BM_JsonWriteConfig")):
        big = div(r.counter(bench, "ns:100k"), 1e6)
        small = div(r.counter(bench, "ns:10k"), 1e6)
        t.row("{} config dump, 100k vs 10k entries".format(verb), big, small, 12,
              unit_format="{:.2f}")

    # ---- apply / dump ----
    t.section("Configuration documents: ns per entry (CPU time), 10,000 entries; next to "
              "SetKelConfig per entry")

    def per_entry(name):
        return div(r.cpu(name), r.counter(name, "entries"))

    set_entry = per_entry("BM_SetEntries/10000")
    t.row("ApplyKelConfigs into an empty store", per_entry("BM_ApplyConfigs/10000"), set_entry)
    t.row("  of which JSON read of the document",
          div(r.counter("BM_JsonReadConfig", "ns:10k"), 1e4))
    t.row("  SetKelConfig per entry, new values", set_entry)
    t.row("ApplyKelConfigs again, values unchanged", per_entry("BM_ApplyConfigsUnchanged/10000"),
          per_entry("BM_SetEntriesUnchanged/10000"))
    t.row("DumpKelConfigs of the 10,000 values", per_entry("BM_DumpConfigs/10000"), set_entry)
    t.row("  of which JSON write of the document",
          div(r.counter("BM_JsonWriteConfig", "ns:10k"), 1e4))

    # ---- registry ----
    t.section("Registry of configuration stores: ns per operation, 100,000 vs 1,000 calls "
              "registered")
    for label, bench in (("Create + release + clean-up of a new call",
                          "BM_Registry_CreateReleaseCleanUp"),
                         ("Create + release, the same call",
                          "BM_Registry_CreateRelease_SameCall"),
                         ("Create + release, spread over all calls",
                          "BM_Registry_CreateRelease_SpreadCalls")):
        t.row(label, r.counter(bench + "/100000", "ns:registry"),
              r.counter(bench + "/1000", "ns:registry"), 2)

    # ---- statistics ----
    t.section("Statistics: ns per call; updates [fields written]: the fastest 50 us slice of each "
              "round (the median slice in brackets),\n  at most 1.5 ns a field (5 ns for one); "
              "getters side by side with a memcpy of the record's size")
    updates = [
        ("audio updateTxBitRate", "BM_AudioUpdateTxBitRate"),
        ("audio updateRxBitRate", "BM_AudioUpdateRxBitRate"),
        ("audio updateNoiseLevel", "BM_AudioUpdateLevels"),
        ("audio updatePayloadType", "BM_AudioUpdatePayloadType"),
        ("audio updateSendCodecInfo", "BM_AudioUpdateSendCodecInfo"),
        ("audio updateJitterBufferStatistics", "BM_AudioUpdateJitterBuffer"),
        ("audio updateE2EDelayInfo", "BM_AudioUpdateE2EDelay"),
        ("audio updateAVSyncStatistics (120 B)", "BM_AudioUpdateAVSync"),
        ("video UpdateVideoEncFrameCnt", "BM_VideoUpdateFrameCount"),
        ("video UpdateVideoEncBitrateFps", "BM_VideoUpdateBitrateFps"),
        ("video UpdateNoiseLevel", "BM_VideoUpdateNoiseLevel"),
        ("video UpdateVideoEncIdrSentAndReasonCnt", "BM_VideoUpdateIdrSentAndReasons"),
        ("video UpdateOneVideoLayerInfo", "BM_VideoUpdateOneLayer"),
        ("video UpdateStreamsInfo, 6 layers", "BM_VideoUpdateStreamsInfo6"),
        ("video UpdateAV1Metrics (2 texts)", "BM_VideoUpdateAV1Metrics"),
    ]
    for label, bench in updates:
        fields = median(r.counter(bench, "fields"))
        label = "Update: {} [{}]".format(label, "?" if fields is None else int(fields))
        t.row(label, r.counter(bench, "best:update"), goal=("abs", update_limit_ns(fields)),
              beside=r.counter(bench, "ns:update"))
    getters = [
        ("audio GetTxMediaInfo (260 B)", "BM_AudioGetTxMediaInfo/reset:0"),
        ("audio GetTxMediaInfo, reset (260 B)", "BM_AudioGetTxMediaInfo/reset:1"),
        ("audio GetRxAudioInfo (260 B)", "BM_AudioGetRxAudioInfo/reset:0"),
        ("audio GetRxAudioInfo, reset (260 B)", "BM_AudioGetRxAudioInfo/reset:1"),
        ("audio GetAVSyncInfo (120 B)", "BM_AudioGetAVSyncInfo"),
        ("video GetTxMediaInfo (2064 B)", "BM_VideoGetTxMediaInfo/reset:0"),
        ("video GetTxMediaInfo, reset (2064 B)", "BM_VideoGetTxMediaInfo/reset:1"),
    ]
    for label, bench in getters:
        t.row("Getter: " + label, r.counter(bench, "ns:getter"), r.counter(bench, "ns:memcpy"), 2)
    t.row("Create + release of an existing statistics key",
          r.counter("BM_CreateReleaseExistingKey", "ns:registry"))

    # ---- memory ----
    t.section("Memory: heap bytes per object (counted allocations at their usable size); "
              "floor = bare std::map")
    b = "{:.0f}"
    t.row("Empty configuration store (with registry entry)",
          r.counter("BM_Memory_EmptyStore/1000", "bytes_per_store"), goal=("abs", 1024, "B"),
          unit_format=b)
    t.row("Store with one group in use (one int value)",
          r.counter("BM_Memory_OneGroupStore/1000", "bytes_per_store"), goal=("abs", 1536, "B"),
          unit_format=b)
    t.row("  context: a demo call's store, its 21 values in 6 groups",
          r.counter("BM_Memory_DemoCallStore/1000", "bytes_per_call"), unit_format=b)
    for key in ("12", "24"):
        t.row("Stored value, int, {}-char key".format(key),
              r.counter("BM_Memory_StoredValue/key:" + key, "bytes_per_value"),
              r.counter("BM_Memory_StoredValue_Floor/key:" + key, "bytes_per_value"),
              unit_format=b)
    t.row("Subscription, direct, each to its own key",
          r.counter("BM_Memory_Subscription/oneKey:0", "bytes_per_subscription"), unit_format=b)
    t.row("  left per subscription after unsubscribing",
          r.counter("BM_Memory_Subscription/oneKey:0", "bytes_left"), unit_format=b)
    t.row("Subscription, direct, all to one key",
          r.counter("BM_Memory_Subscription/oneKey:1", "bytes_per_subscription"), unit_format=b)
    for label, arg in (("audio", 0), ("video", 1), ("content video", 2), ("content audio", 3)):
        t.row("Statistics object, {} (with registry entry)".format(label),
              r.counter("BM_Memory_StatisticsObject/type:{}".format(arg), "bytes_per_object"),
              unit_format=b)
    return t


# Posted deliveries per operation of BM_PostedDeliveries, both sides (notify_bench.cc).
POSTED_BATCH = 256

# Largest coefficient of variation (percent) at which a goal row's figures are trusted.
NOISE_LIMIT = 10

# "A few nanoseconds" for a statistics update of one field, as a number; an update of several
# fields may take UPDATE_FIELD_NS for each field it writes (the benchmark's "fields" counter).
UPDATE_LIMIT_NS = 5
UPDATE_FIELD_NS = 1.5


def update_limit_ns(fields):
    if fields is None or fields <= 1:
        return UPDATE_LIMIT_NS
    return UPDATE_FIELD_NS * fields


def main(argv):
    if len(argv) < 2 or argv[1] in ("-h", "--help"):
        print(__doc__.strip())
        return 0 if len(argv) >= 2 else 2
    directory = argv[1]
    out = None
    check = False
    rest = argv[2:]
    while rest:
        if rest[0] == "--out" and len(rest) >= 2:
            out = rest[1]
            rest = rest[2:]
        elif rest[0] == "--check":
            check = True
            rest = rest[1:]
        else:
            print("summarize.py: unknown argument '{}'".format(rest[0]), file=sys.stderr)
            return 2
    r = Results(directory)
    header = ["Benchmark summary ({} result files in {})".format(len(r.files), directory)]
    if r.contexts:
        c = r.contexts[0]
        loads = [ctx.get("load_avg", [0])[0] for ctx in r.contexts if ctx.get("load_avg")]
        header.append("  {} CPUs at {} MHz; load average at each program's start: {}".format(
            c.get("num_cpus", "?"), c.get("mhz_per_cpu", "?"),
            ", ".join("{:.1f}".format(l) for l in loads) or "?"))
    header.append("  Each program runs its benchmarks in rounds (the repetitions, interleaved). A "
                  "side-by-side benchmark")
    header.append("  alternates its figure and floor in slices of real time (50 us; 2 ms for "
                  "hand-offs) and reports each one's median slice,")
    header.append("  which also leaves out slices the scheduler interrupted. Value and floor: "
                  "medians over the rounds.")
    header.append("  Ratio: the median of the rounds' ratios. cv: their coefficient of variation "
                  "over the rounds within")
    header.append("  Tukey's fences; outside: rounds beyond them. Figures marked \"2 threads\" "
                  "include the other thread's work.")
    header.append("")
    table = build(r)
    text = table.text(header)
    print(text)
    if out:
        with open(out, "w", encoding="utf-8") as f:
            f.write(text + "\n")
    if check and not table.all_passed():
        print("check: not every goal passed", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
