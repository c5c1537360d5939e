"""Runs the benchmarks and prints each figure beside its bound or baseline; scripts/bench calls it in the sandbox.

usage: figures.py RELEASE-TREE ARM-TREE RESULTS.json [--realistic]
"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile

KIB, MIB = 1024, 1024 * 1024
SIZES = {"1 KB": KIB, "64 KB": 64 * KIB, "1 MB": MIB, "8 MB": 8 * MIB}
TRACED_SIZES = ("64 KB", "1 MB", "8 MB")
FLATNESS = 1.01  # the largest of figures that should be equal over the smallest
LOG_DUMP_BYTES = 240
CROSS = "arm-linux-gnueabihf-"
SECTIONS = {
    "code": {".init", ".plt", ".text", ".fini"},
    "constants, nearly all log texts": {".rodata"},
    "constants that hold addresses": {".data.rel.ro"},
    "data": {".init_array", ".fini_array", ".dynamic", ".got", ".data"},
    "relocations": {".rel.dyn", ".rel.plt"},
    "names, exported and needed": {".gnu.hash", ".dynsym", ".dynstr", ".gnu.version", ".gnu.version_r"},
}

figures = []
missed = []


def figure(name, measured, beside, held=True):
    figures.append({"figure": name, "measured": measured, "beside": beside, "held": held})
    if not held:
        missed.append(name)
    print(f"{name:<52} {measured:>22}   {beside}{'' if held else '   MISSED'}", flush=True)


def output(*command):
    return subprocess.run([str(part) for part in command], check=True, stdout=subprocess.PIPE, text=True).stdout


def set_log_level(level):
    pathlib.Path("/etc/vorn_config.json").write_text(json.dumps({"log_level": level}))
    pathlib.Path("/tmp/mobile/lpa.log").unlink(missing_ok=True)


def download(tree, size, *latency):
    set_log_level(3)
    return json.loads(output(tree / "bench/bench_download", size, *latency))


def callgrind(*command):
    """Instructions by the name of the program or library that they stand in, and what the command wrote."""
    with tempfile.NamedTemporaryFile() as trace:
        written = output("valgrind", "-q", "--log-file=/dev/null", "--tool=callgrind", f"--callgrind-out-file={trace.name}", *command)
        return self_cost(trace.name), written


def self_cost(path):
    names, cost = {}, {}
    current = None
    is_call = False  # the next cost line is a callee's
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            found = re.match(r"(c?ob)=\((\d+)\)(?: (.*))?$", line)
            if found:
                names.setdefault(found[2], pathlib.Path(found[3] or "").name)
                current = found[2] if found[1] == "ob" else current
            elif line.startswith("calls="):
                is_call = True
            elif re.match(r"[-+*\d]\S* \d+$", line):
                if not is_call:
                    cost[current] = cost.get(current, 0) + int(line.split()[1])
                is_call = False
    return {names[number]: instructions for number, instructions in cost.items()}


def downloads(tree):
    runs = {name: download(tree, size) for name, size in SIZES.items()}
    for name, run in runs.items():
        actual, least = run["at_commands"], run["least_at_commands"]
        figure(f"AT commands of a download, {name}", str(actual), f"least possible {least}", actual == least)
    beyond = {name: run["heap_peak"] - run["largest_answer"] for name, run in runs.items()}
    for name, excess in beyond.items():
        figure(f"heap beyond the HTTP text, {name}", f"{excess} bytes",
               f"at most {64 * KIB}; the text: {runs[name]['largest_answer']}", 0 <= excess <= 64 * KIB)
    spread = max(beyond.values()) - min(beyond.values())
    figure("  largest less smallest of these", f"{spread} bytes", "at most two pages, 8192", spread <= 8192)
    return {name: run["processor_seconds"] for name, run in runs.items()}


def instructions(tree, library, processor_seconds):
    name = library.split(".")[0]
    segments, own, all_together = [], [], []
    for title in TRACED_SIZES:
        set_log_level(3)
        cost, written = callgrind(tree / "bench/bench_download", SIZES[title])
        segments.append(json.loads(written)["segments"])
        own.append(cost[library])
        all_together.append(sum(cost.values()))
        figure(f"instructions of {name} a segment, {title}", f"{own[-1] / segments[-1]:.0f}", "at most 8000",
               own[-1] <= 8000 * segments[-1])
    marginal = [(own[i] - own[i - 1]) / (segments[i] - segments[i - 1]) for i in range(1, len(own))]
    spread = max(marginal) / min(marginal)
    figure("  of a further segment, from size to size", " ".join(f"{cost:.0f}" for cost in marginal),
           f"largest over smallest at most {FLATNESS}: {spread:.4f}", spread <= FLATNESS)
    ratio = all_together[-1] / all_together[-2]
    figure("instructions of the process, 8 MB over 1 MB", f"{ratio:.2f}",
           "at most 8.5", ratio <= 8.5)
    longer, shorter = processor_seconds["8 MB"], processor_seconds["1 MB"]
    figure("  processor time of the same, untraced", f"{longer / shorter:.2f}", f"{longer:.2f} s over {shorter:.2f} s")


def log_calls(tree):
    program = tree / "bench/bench_log"

    def one_call(kind, count):
        few, many = (sum(callgrind(program, kind, n)[0].values()) for n in (1, 1 + count))
        return (many - few) / count

    quiet = one_call("quiet", 10000)
    figure("instructions of a log call below the level", f"{quiet:.1f}", "at most 30, the caller's included",
           quiet <= 30)
    dump = one_call("dump", 200) / LOG_DUMP_BYTES
    figure("instructions of a dump at level 5, a byte", f"{dump:.0f}", f"dumps of {LOG_DUMP_BYTES} bytes, C library included")


def codecs(tree):
    report = json.loads(output(tree / "bench/bench_codec", "--benchmark_format=json", "--benchmark_min_time=0.02",
                               "--benchmark_repetitions=9", "--benchmark_enable_random_interleaving=true"))
    speeds = {}
    for run in report["benchmarks"]:
        if run["run_type"] == "iteration":
            speeds[run["run_name"]] = max(speeds.get(run["run_name"], 0), run["bytes_per_second"])
    for name in ("base64_decoding", "base64_decoding_openssl", "hex_encoding", "tlv_walking"):
        beside = f"{speeds[name] / speeds['copy']:.4f} of memcpy"
        if name == "base64_decoding":
            beside += f", {speeds[name] / speeds['base64_decoding_openssl']:.2f} of OpenSSL's"
        figure(name.replace("_", " "), f"{speeds[name] / MIB:.0f} MiB/s", beside)


def sections(file):
    """Name, bytes and flags of all that is loaded; A allocated, W writable, X code."""
    row = r"\s*\[\s*\d+\] (\.\S+)\s+\S+\s+[0-9a-f]+ [0-9a-f]+ ([0-9a-f]+) [0-9a-f]+\s+(\w*A\w*) "
    found = (re.match(row, line) for line in output("readelf", "-SW", file).splitlines())
    return [(entry[1], int(entry[2], 16), entry[3]) for entry in found if entry]


def segment(library, kind, flags):
    """Bytes that a segment takes in memory."""
    row = rf"\s*{kind}(?:\s+0x[0-9a-f]+){{4}}\s+0x([0-9a-f]+) {flags}"
    return sum(int(size, 16) for size in re.findall(row, output("readelf", "-lW", library)))


def flash(library):
    with tempfile.NamedTemporaryFile() as stripped:
        output(CROSS + "strip", "-o", stripped.name, library)
        whole = pathlib.Path(stripped.name).stat().st_size
        parts = sections(stripped.name)
    rest = whole
    for title, names in SECTIONS.items():
        held = sum(size for name, size, _ in parts if name in names)
        rest -= held
        figure(f"flash: {title}", f"{held} bytes", " ".join(sorted(names)))
    figure("flash: headers, alignment", f"{rest} bytes", "")
    figure("flash: the stripped file", f"{whole} bytes", f"at most {200 * KIB}", whole <= 200 * KIB)
    relocated = segment(library, "GNU_RELRO", "R  ")
    writable = segment(library, "LOAD", "RW ") - relocated
    figure("writable after start", f"{writable} bytes", f"at most {4 * KIB}; until then {relocated} more",
           0 < writable <= 4 * KIB)


def folders(objects):
    held = {}
    for entry in objects:
        parts = held.setdefault(entry.parent.name, {"code": 0, "constants": 0, "data": 0})
        for _, size, flags in sections(entry):
            parts["code" if "X" in flags else "data" if "W" in flags else "constants"] += size
    whole = sum(sum(parts.values()) for parts in held.values())
    for folder, parts in sorted(held.items(), key=lambda row: -sum(row[1].values())):
        size = sum(parts.values())
        figure(f"objects of {folder}/", f"{size} bytes",
               f"{size / whole:.0%}; " + ", ".join(f"{kind} {count}" for kind, count in parts.items()))


def start_up(library, objects):
    relocations = [line for line in output("readelf", "-rW", library).splitlines() if " R_" in line]
    kinds = {kind: sum(kind in line for line in relocations) for kind in ("_RELATIVE", "_JUMP_SLOT")}
    named = len(relocations) - sum(kinds.values())
    figure("relocations", str(len(relocations)),
           f"{kinds['_RELATIVE']} of a base only, {named} by name, {kinds['_JUMP_SLOT']} when first called")
    constructors = sum(name.startswith((".init_array", ".ctors", ".preinit_array"))
                       for entry in objects for name, _, _ in sections(entry))
    figure("static constructors", str(constructors), "none", constructors == 0)


def on_the_router(tree, library):
    objects = sorted((tree / "CMakeFiles/lpa_objects.dir").glob("*/*.o"))
    flash(tree / library)
    folders(objects)
    start_up(tree / library, objects)


def realistic(tree):
    """Where the time of a download goes with a modem that takes 30 ms for a command."""
    seconds = download(tree, 16 * KIB, 30)["seconds"]
    whole = seconds.pop("all")
    seconds["the library"] = whole - sum(seconds.values())
    print(f"A profile of 16 KB, 30 ms for an AT command: {whole:.2f} s")
    for name, taken in sorted(seconds.items(), key=lambda row: -row[1]):
        print(f"  {name:<20} {taken:7.3f} s {taken / whole:6.1%} {'#' * round(50 * taken / whole)}")
    return seconds


def main(tree, arm_tree, results, *options):
    tree, arm_tree = pathlib.Path(tree), pathlib.Path(arm_tree)
    library = (tree / "liblpa.so").resolve().name
    report = {}
    if "--realistic" in options:
        report["seconds"] = realistic(tree)
    else:
        print(f"{'FIGURE':<52} {'MEASURED':>22}   BOUND OR BASELINE")
        processor_seconds = downloads(tree)
        instructions(tree, library, processor_seconds)
        log_calls(tree)
        codecs(tree)
        on_the_router(arm_tree, library)
        report["figures"] = figures
    pathlib.Path(results).write_text(json.dumps(report, indent=2) + "\n")
    if missed:
        sys.exit("missed: " + ", ".join(missed))


main(*sys.argv[1:])
