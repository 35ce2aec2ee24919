#!/usr/bin/python3
"""Turns the JSON of nevrad_benchmark into a table and a plot.

Names of runs are case/contestant; ratios are formed within a case, out of one run of the program.
"""
import argparse
import collections
import json
import pathlib
import re
import sys

LIMITS = {"limit": "reading", "peak": "arithmetic"}
OURS = "nevrad"


def load_times(path, statistic):
    """Nanoseconds by case and contestant, in the order of first appearance."""
    times = collections.defaultdict(dict)
    work = {}
    with open(path, encoding="utf-8") as file:
        report = json.load(file)
    for run in report["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{path}: {run['name']}: {run.get('error_message', 'failed')}")
        if run.get("aggregate_name") != statistic:
            continue
        # The program appends how it measures: .../repeats:5/real_time.
        name = re.sub(r"(/repeats:\d+)?/real_time$", "", run["run_name"])
        case, _, contestant = name.rpartition("/")
        # A thread's own time leaves out what other users of the machine took from it. Several
        # threads are only done when the last one is.
        clock = "cpu_time" if case.endswith("/1T") else "real_time"
        unit = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[run["time_unit"]]
        times[case][contestant] = run[clock] * unit
        if contestant == OURS:
            work[case] = {key: run.get(key, 0.0) for key in ("bytes", "flops")}
    return report["context"], dict(sorted(times.items(), key=sort_key)), work


def sort_key(item):
    """Family and case by name, working sets by size, then type and threads."""
    family, *middle, size, letter, threads = item[0].split("/")
    sizes = ["L1", "L2", "L3", "outside"]
    known = sizes.index(size) if size in sizes else len(sizes)
    letters = "dszc"
    order = letters.index(letter) if letter in letters else len(letters)
    return family, middle, known, size.rjust(12), order, threads


def format_time(nanoseconds):
    for unit, scale in (("ns", 1), ("us", 1e3), ("ms", 1e6)):
        if nanoseconds < 1000 * scale:
            return f"{nanoseconds / scale:.3g} {unit}"
    return f"{nanoseconds / 1e9:.3g} s"


def split_names(times):
    """Peers and limits among the contestants, in a fixed order."""
    found = {name for of in times.values() for name in of}
    return sorted(found - set(LIMITS) - {OURS}), [name for name in LIMITS if name in found]


def table(times, work):
    """The cases of one family. Without a contestant of ours: the parts' times side by side."""
    peers, limits = split_names(times)
    if not any(OURS in of for of in times.values()):
        yield "| case | " + " | ".join(peers + limits) + " |"
        yield "|---|" + "---:|" * len(peers + limits)
        for case, of in times.items():
            cells = [format_time(of[name]) if name in of else "" for name in peers + limits]
            yield f"| {case} | " + " | ".join(cells) + " |"
        return
    heads = ["case", "time", "GB/s", "GFLOP/s"]
    heads += [f"{peer} / nevrad" for peer in peers] + [f"of the {LIMITS[x]} limit" for x in limits]
    yield "| " + " | ".join(heads) + " |"
    yield "|---|" + "---:|" * (len(heads) - 1)
    for case, of in times.items():
        ours = of.get(OURS)
        if not ours:
            continue
        cells = [case, format_time(ours)]
        for amount in (work[case]["bytes"], work[case]["flops"]):
            cells.append(f"{amount / ours:.2f}" if amount else "")
        cells += [f"{of[peer] / ours:.2f}" if peer in of else "" for peer in peers]
        cells += [f"{of[limit] / ours:.0%}" if limit in of else "" for limit in limits]
        yield "| " + " | ".join(cells) + " |"


def by_family(times):
    families = collections.defaultdict(dict)
    for case, of in times.items():
        families[case.split("/")[0]][case] = of
    return families.values()


def plot(times, paths):
    peers, limits = split_names({case: of for case, of in times.items() if OURS in of})
    import matplotlib

    matplotlib.use("Agg")
    from matplotlib import pyplot

    # Of the colours that people of any colour vision tell apart.
    colours = ["#0072b2", "#56b4e9", "#009e73", "#cc79a7", "#f0e442"]
    cases = [case for case, of in times.items() if OURS in of]
    figure, axes = pyplot.subplots(
        1, 2, sharey=True, figsize=(13, 1.5 + 0.3 * len(cases)), layout="constrained"
    )
    rows = range(len(cases))
    for axis, names, title in (
        (axes[0], peers, "speed relative to a peer (more is better)"),
        (axes[1], limits, "share of the machine's measured limit"),
    ):
        height = 0.8 / max(1, len(names))
        for i, name in enumerate(names):
            ratios = [
                times[case][name] / times[case][OURS] if name in times[case] else 0 for case in cases
            ]
            label = f"against {name}" if name in peers else LIMITS[name]
            places = [row + (i + 0.5) * height - 0.4 for row in rows]
            axis.barh(places, ratios, height, color=colours[i % len(colours)], label=label)
        axis.axvline(1, color="black", linewidth=1)
        axis.set_title(title)
        axis.grid(axis="x", alpha=0.3)
        if names:
            axis.legend(loc="lower right")
    axes[0].set_yticks(list(rows), cases)
    axes[0].invert_yaxis()
    for path in paths:
        figure.savefig(path, dpi=110)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("json", type=pathlib.Path, help="what --benchmark_out wrote")
    parser.add_argument(
        "--statistic",
        default="median",
        choices=["median", "min"],
        help="which aggregate of the repetitions to compare (default: median)",
    )
    parser.add_argument("--table", type=pathlib.Path, help="also write the table to this file")
    parser.add_argument("--plot", type=pathlib.Path, action="append", default=[],
                        help="write a plot to this file (.svg, .png); may be given again")
    options = parser.parse_args()

    context, times, work = load_times(options.json, options.statistic)
    if not times:
        sys.exit(f"{options.json}: holds no {options.statistic}")

    lines = [
        f"{context['date'][:10]}, {context['num_cpus']} CPUs, {options.statistic} of the "
        "repetitions; time of the thread for 1T, of the wall for more.",
    ]
    for family in by_family(times):
        lines += ["", *table(family, work)]
    print("\n".join(lines))
    if options.table:
        options.table.write_text("\n".join(lines) + "\n", encoding="utf-8")
    if options.plot and work:
        plot(times, options.plot)


if __name__ == "__main__":
    main()
