#!/usr/bin/env python3
"""Compares what `ostrelLog check` says of damaged and of foreign logs with what the replay then says and does.

    check_against_replay.py OSTREL_REPLAY OSTREL_LOG CALL_PROBE COUNT [SEED]

Every loss that the check names must show in the lines of the replay or in its calls, and every line that tells of a
loss must have been named. Stops at the first disagreement, and keeps its logs.
"""
import collections, json, os, pathlib, random, re, struct, subprocess, sys, tempfile

# A line that is neither usual nor in the table is a disagreement. Kinds with several lines have a key of their own.
USUAL = re.compile(r"<6>(Starting|Input|Drone|Reached end|Ran )|<3>droneVariant|<4>    |<6>   |@")
LINES = {
    "preamble": r"<4>Input file .* has \d+ lines before its header",
    "event log": r"<3>Expected continuous file but got events",
    "column count": r"<4>nentries does not match",
    "header end": r'<4>File .* has a damaged "-- Data" line',
    "no records": r'<4>File .* has no "-- Data" line',
    "missing columns": r"<4>(\d+) registered entries not found",
    "unknown columns": r"<6>(\d+) entries found in file but not registered",
    "gaps": r"<4>Jumped",
    "end of the samples": r"<4>Error on replay data read",
    "end of a legacy log": r"<4>(?:Continuous|Event) file .* ends at byte",
    "end of a blackbox log": r"<[34]>.*: (?:cut short after|damaged in the block at) byte",
    "missing section": r"<4>No section named",
    "array": r"<3>Variables with count > 1",
    "other type": r"<4>var .* type mismatch",
    "missing variables": r"<4>The following entries have not been filled",
    "unknown API": r"<6>API named",
    "argument name": r"<3>API .* name differs",
    "argument count": r"<3>API .* has a different number",
    "calls met with the end": r"<4>Error on replay event read",
    "calls not made": r"<4>Event file .* : (\d+) calls were not made",
}
NOT_MADE = {"unreached calls", "unnamed calls"}  # told together in one line
ONLY_IN_THE_CALLS = {"late calls", "unusual calls"}
ONLY_IN_THE_VALUES = {"skipped samples", "changed section"}
NUMBERS = [float("nan"), float("inf"), -1.0, 0.0, 3.5, 7.0, 24.0, 32.0, 1e300, 2.0**31]
TEXTS = [b"", b"0", b"-1", b"x", b"1, 2, 3", b"index, index, a", b"events", b"land, jump", b"9" * 20]
NAMES = [b"land", b"altitude", b"vx", b"gyro[0].x", b"index"]


def damaged(rng, log, sample):
    """The log with one change of a kind that happens: a cut, wrong bytes, other names, missing records.

    `sample` is the size of a sample in bytes.
    """
    log, head = bytearray(log), log.find(b"-- Data\n") + 8
    at, lines = rng.randrange(len(log)), log[:head].split(b"\n")
    line, kind = rng.randrange(len(lines)), rng.randrange(10)
    if kind == 0:
        return log[:at]
    if kind == 1:
        log[at] ^= 1 << rng.randrange(8)
    elif kind == 2:
        log[at:at] = bytes([rng.randrange(256)])
    elif kind == 3:
        del log[at : at + rng.randrange(1, 40)]
    elif kind == 4:
        log[:head] = b"\n".join(lines[:line] + lines[line + 1 :])
    elif kind == 5 and b":" in lines[line]:
        lines[line] = lines[line].split(b":")[0] + b": " + rng.choice(TEXTS)
        log[:head] = b"\n".join(lines)
    elif kind == 6:
        log[:head] = log[:head].replace(rng.choice(NAMES), b"other")
    elif kind == 7:
        value = head + 8 * rng.randrange(max(1, (len(log) - head) // 8))
        log[value : value + 8] = struct.pack("<d", rng.choice(NUMBERS))
    elif kind == 8:  # samples are missing
        first = head + sample * rng.randrange(40)
        del log[first : first + sample * rng.randrange(1, 20)]
    else:
        log[:0] = b"\n" * rng.randrange(5, 9)
    return log


def foreign(rng, log):
    """The legacy log as another system writes it: with other names, and these in another order."""
    titles = re.search(rb"titles : (.*)", log)
    names = titles[1].split(b", ")
    for _ in range(rng.randrange(1, 4)):
        names[rng.randrange(len(names))] = rng.choice(NAMES + [b"other"])
    rng.shuffle(names)
    return log[: titles.start(1)] + b", ".join(names) + log[titles.end(1) :]


def run(command, **variables):
    variables |= {"ASAN_OPTIONS": "exitcode=99:verify_asan_link_order=0", "OSTREL_ROOT_DIR": os.getcwd(), "PATH": ""}
    result = subprocess.run(command, env=variables, capture_output=True, timeout=60, check=False)
    return result.returncode, result.stdout.decode(errors="replace"), result.stderr.decode(errors="replace")


def named(answer):
    """How often each kind of line is to come, and with which count, as the check has it."""
    lines = collections.Counter()
    # A replay also tells how APIs differ of which there are no calls.
    losses = answer["losses"] + [note for note in answer["notes"] if note["kind"] in LINES]
    if missed := sum(loss["count"] for loss in losses if loss["kind"] in NOT_MADE):
        lines[("calls not made", str(missed))] = 1
    for loss in losses:
        kind, ofBlackbox = loss["kind"], loss["file"] == "blackbox"
        if kind in ("cut", "damaged"):
            lines["end of a blackbox log" if ofBlackbox else "end of a legacy log"] += 1
        if kind == "negative step" or (kind == "damaged" and ofBlackbox):
            lines["end of the samples"] += 1
        elif kind in LINES:
            lines[(kind, str(loss["count"])) if "(\\d" in LINES[kind] else kind] += loss["count"] if kind == "gaps" else 1
        else:
            assert kind in NOT_MADE | ONLY_IN_THE_CALLS | ONLY_IN_THE_VALUES | {"cut", "damaged"}, kind
    return lines


def told(lines):
    """How often each kind of line has come, and with which count."""
    found = collections.Counter()
    for line in lines:
        matches = [(kind, match) for kind, pattern in LINES.items() if (match := re.match(pattern, line))]
        for kind, match in matches:
            found[(kind, match[1]) if match.re.groups else kind] += 1
        if not matches and not USUAL.match(line):
            found[line] += 1
    return found


def compare(replay, tool, probe, logs, section):
    """The verdict, after a comparison with the replay of the logs."""
    status, out, err = run([tool, "check", *logs, "--json", *(["--section", section] if section else [])])
    assert not err, err
    answer = json.loads(out)
    variables = {"TLMB_SECTION_NAME": section} if section else {}
    replay_status, _, log = run([replay, "-i", logs[0], "-e", logs[1]], LD_PRELOAD=probe, LOG_LEVEL="6", **variables)
    lines = [re.sub(r"^(<\d>)\w+: ", r"\1", line) for line in log.splitlines()]
    assert status == {"lossless": 0, "losses": 3, "cannot run": 1}[answer["verdict"]], (status, answer)
    assert replay_status == (1 if status == 1 else 0), (replay_status, answer, lines)
    if status != 1:
        assert named(answer) == told(lines), (named(answer), told(lines))
        done = [sum(line.startswith(call) for line in lines) for call in ("@OSTREL_process", "@apply")]
        assert done == [answer["samples"], answer["calls"]["made"]], (done, answer)
    if status == 0:
        summary = json.loads(run([tool, "info", "--json", logs[0]], LOG_LEVEL="0")[1])[0]
        records = [part["records"] for part in summary.get("sections", [summary]) if part.get("name") == answer["section"]]
        assert answer["samples"] == sum(records), (answer["samples"], records)
    return answer["verdict"]


def main():
    replay, tool, probe = [os.path.abspath(program) for program in sys.argv[1:4]]
    count, rng = int(sys.argv[4]), random.Random(int(sys.argv[5]) if len(sys.argv) > 5 else 1)
    verdicts = collections.Counter()
    with tempfile.TemporaryDirectory(prefix="ostrelReplay-check-") as folder:
        os.chdir(folder)
        os.makedirs("etc/ostrel")
        run([tool, "make", "made", "--seconds", "1", "--rate", "60"])
        run([replay, "-i", "made.cont", "-e", "made.events", "-g", "made.tlmb"], LD_PRELOAD=probe)
        endings = {"samples": "made.cont", "blackbox": "made.tlmb", "events": "made.events"}
        whole = {name: pathlib.Path(made).read_bytes() for name, made in endings.items()}
        sample = 8 * int(re.search(rb"nentries : (\d+)", whole["samples"])[1])
        for case in range(count):
            # Checksums find most damage to a blackbox log, so fewer of these are tried.
            logs, section = (rng.choice(["samples", "samples", "blackbox"]), "events"), rng.choice([None, "navdata-replay"])
            hit = rng.choice([[], logs, logs[:1], logs[:1], logs[1:], logs[1:]])
            for name in logs:
                ofAnother = name != "blackbox" and rng.randrange(4) == 0
                log = foreign(rng, whole[name]) if ofAnother else whole[name]
                pathlib.Path(name).write_bytes(damaged(rng, log, sample) if name in hit else log)
            try:
                verdicts[compare(replay, tool, probe, logs, section)] += 1
            except AssertionError as disagreement:
                kept = tempfile.mkdtemp(prefix="ostrelReplay-disagreement-")
                subprocess.run(["cp", *logs, kept], check=True)
                sys.exit(f"case {case}, section {section}, logs in {kept}: {disagreement}")
    print(f"{count} pairs of logs, and the replay agreed: {dict(verdicts)}")


main()
