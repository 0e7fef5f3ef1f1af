"""Exports legacy logs as CSV and compares what a reader makes of each value, bit by bit.

read_csv.py OSTREL_LOG csv|pandas. Exits with status 77, which CTest calls "not run", without the reader.
"""
import csv
import math
import os
import struct
import subprocess
import sys
import tempfile

EDGES = [0.0, -0.0, 0.1, 1 / 3, -1e22, 5e-324, 2.2250738585072014e-308, 1.7976931348623157e308, 2.0**53 + 2,
         2.0**63, 1e16, 123456789012345678.0, math.inf, -math.inf, math.nan, float(2**64)]
TITLES = ["index", 'a"b', "=1+1", "x[0]"]


def read_legacy(path):
    """The titles of a log and the bytes of each record's values."""
    head, data = open(path, "rb").read().split(b"-- Data\n", 1)
    titles = next(line for line in head.decode().splitlines() if line.startswith("titles"))
    titles = [title.strip() for title in titles.split(" : ")[1].split(",")]
    size = 8 * len(titles)
    return titles, [struct.unpack(f"<{len(titles)}d", data[at:at + size]) for at in range(0, len(data), size)]


def read_csv(path):
    if reader == "pandas":
        frame = pandas.read_csv(path, float_precision="round_trip")
        return list(frame.columns), frame.to_numpy("float64").tolist()
    rows = list(csv.reader(open(path, newline="")))
    return rows[0], [[float(text) for text in row] for row in rows[1:]]


def bits(row):
    return ["nan" if math.isnan(value) else struct.pack("<d", value) for value in row]


tool, reader = os.path.abspath(sys.argv[1]), sys.argv[2]
if reader == "pandas":
    try:
        import pandas
    except ImportError:
        print("not run: there is no pandas")
        sys.exit(77)

folder = tempfile.TemporaryDirectory()
os.chdir(folder.name)
subprocess.run([tool, "make", "flight", "--seconds", "20"], check=True)
with open("edges.cont", "wb") as log:
    log.write(f"-- Build infos\nnentries : 4\ntitles : {','.join(TITLES)}\n-- Data\n".encode())
    for i, edge in enumerate(EDGES):
        log.write(struct.pack("<4d", i, edge, -edge, 0.0 if i % 2 else -0.0))
for name in ["flight.cont", "edges.cont"]:
    subprocess.run([tool, "export", name, "--format", "csv", "-o", name + ".csv"], check=True)
    titles, rows = read_legacy(name)
    read_titles, read_rows = read_csv(name + ".csv")
    assert read_titles == titles, read_titles
    assert list(map(bits, read_rows)) == list(map(bits, rows))
    print(f"{name}: {len(rows) * len(titles)} values are those that {reader} reads")
