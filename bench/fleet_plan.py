#!/usr/bin/env python3
"""Simulates a fleet run of `ostrelLog regress` on more machines than one has: how long it takes, and what limits it.

Every input stands in INPUTS, with where its figure comes from. Give other values as NAME=VALUE on the command line, and
nodes=N,N... for other numbers of nodes.
Shards are handed out one after the other; a node works on one shard at a time with all its cores, and starts the next
one when it is done. All nodes read their flights from one shared file system.
"""
import heapq
import random
import sys

INPUTS = {
    # name: (value, unit, where it comes from)
    "flights": (1_000_000, "", "the question"),
    "flight_steps": (240_000, "", "20 minutes at 200 Hz"),
    "flight_bytes": (266_880_000, "bytes", "20 minutes at 200 Hz, with about 1.1 kB for the sensors of a step"),
    "cpu_fixed": (0.013, "s", "start and end of both replays and the comparison: scripts/bench fleet"),
    "cpu_step": (5.4e-6, "s", "both replays with their exports, and the comparison: scripts/bench fleet"),
    "changed": (0.01, "of all", "flights that are replayed a second time; 1 for every flight"),
    "used": (0.9, "of a processor", "what `regress` makes use of once it runs: scripts/bench fleet"),
    "cores": (32, "a node", "an ordinary node of a cluster"),
    "shard_flights": (300, "", "some minutes of work"),
    "shard_start": (7.0, "s", "idle processors at start and end of a shard: batch system, first replays, last sleeps"),
    "engine_job": (0.05, "s", "the engine hands out one job after the other: 3 ms to 3 s"),
    "shared_bytes_s": (10e9, "bytes/s", "a shared file system of a cluster; 1e9 is a file server"),
    "node_bytes_s": (1.2e9, "bytes/s", "10 Gbit/s of network"),
    "failures": (1 / 5_000, "a node hour", "one failure of each node in 200 days"),
    "failure_noticed": (300.0, "s", "until the engine starts the shard on another node"),
    "row_bytes": (1_400, "bytes", "one row"),
    "report_row": (10e-6, "s", "`report`, both of its readings"),
    "report_memory": (20, "bytes a row", "`report`"),
}


def value(name, given):
    return float(given.get(name, INPUTS[name][0]))


def simulate(nodes, given, seed=1):
    """Hands all shards to the nodes. Returns the hours, the share of them that each limit takes, and what was lost."""
    get = lambda name: value(name, given)
    flights, per_shard = get("flights"), get("shard_flights")
    cpu_flight = (get("cpu_fixed") + get("cpu_step") * get("flight_steps")) * (1 + get("changed"))
    by_cpu = cpu_flight / get("used") / get("cores")
    by_disk = get("flight_bytes") / min(get("node_bytes_s"), get("shared_bytes_s") / nodes)
    flight_seconds = max(by_cpu, by_disk)

    dice = random.Random(seed)
    free = [(0.0, node) for node in range(nodes)]
    heapq.heapify(free)
    shards = [min(per_shard, flights - first) for first in range(0, int(flights), int(per_shard))]
    engine, busy, end, lost = 0.0, 0.0, 0.0, 0
    while shards:
        start, node = heapq.heappop(free)
        engine = max(engine, start) + get("engine_job")
        busy += get("engine_job")
        begin = engine + get("shard_start")
        size = shards.pop()
        done = begin + size * flight_seconds
        fails_at = begin + dice.expovariate(get("failures") / 3600)
        if fails_at < done:
            # Its rows are kept: the shard goes on behind them, and only the flights under way are replayed again.
            finished = int((fails_at - begin) / flight_seconds)
            shards.append(size - finished)
            lost += 1
            done = fails_at + get("failure_noticed")
        end = max(end, done)
        heapq.heappush(free, (done, node))
    limit = "processors" if by_cpu >= by_disk else "reading"
    if busy > 0.8 * end:
        limit = "engine"
    return {"hours": end / 3600, "limit": limit, "lost": lost, "cpu_hours": flights * cpu_flight / 3600,
            "read": flights * get("flight_bytes") / end, "shards": -(-int(flights) // int(per_shard))}


def main():
    given = dict(argument.split("=", 1) for argument in sys.argv[1:])
    counts = [int(count) for count in given.pop("nodes", "1,10,100,1000").split(",")]
    unknown = set(given) - set(INPUTS)
    if unknown:
        sys.exit("fleet_plan.py: no such input: " + ", ".join(sorted(unknown)))
    for name, (_, unit, source) in INPUTS.items():
        print(f"{name:16} {value(name, given):>14g} {unit:12} {source}")
    print(f"\n{'nodes':>6} {'hours':>8}  {'limit':12} {'shards':>7} {'read GB/s':>10} {'failures':>9} {'node hours':>11}")
    for nodes in counts:
        run = simulate(nodes, given)
        print(f"{nodes:6} {run['hours']:8.4g}  {run['limit']:12} {run['shards']:7} {run['read'] / 1e9:10.2f} "
              f"{run['lost']:9} {run['hours'] * nodes:11.0f}")
    rows = value("flights", given)
    print(f"\nrows {rows * value('row_bytes', given) / 1e9:.1f} GB; "
          f"report {rows * value('report_row', given):.0f} s, {rows * value('report_memory', given) / 1e6:.0f} MB")


if __name__ == "__main__":
    main()
