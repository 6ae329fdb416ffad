"""Prints the table of the medians in a result file of a benchmark program.

usage: table.py RESULTS.json

A measurement is named OPERATION/SUBJECT/PARAMETER...; the program gives the parameters' column titles in its context
"columns", with commas between them. Rows and subjects stand in the order in which they were first measured. A counter
"bytes" says how much was read or written; where a subject's differs from ours, the ratio says so too. The time is that
of the processor, but for measurements that are registered as of real time.
"""
import json
import statistics
import sys

with open(sys.argv[1], encoding="utf-8") as file:
    document = json.load(file)
results = document["benchmarks"]
failures = [result["name"] for result in results if result.get("error_occurred")]
if failures or not results:
    sys.exit("no table: " + (", ".join(sorted(set(failures))) or "nothing was measured") + " failed")

columns = [title for title in document["context"].get("columns", "").split(",") if title]
milliseconds = {"ns": 1e-6, "us": 1e-3, "ms": 1, "s": 1e3}
times = {}
sizes = {}
subjects = []
for result in results:
    operation, subject, *parameters = result["name"].split("/")
    row = (*parameters[:len(columns)], operation)
    clock = "real_time" if result["name"].endswith("/real_time") else "cpu_time"
    duration = result[clock] * milliseconds[result["time_unit"]]
    times.setdefault(row, {}).setdefault(subject, []).append(duration)
    sizes[row, subject] = result.get("bytes", 0)
    if subject not in subjects:
        subjects.append(subject)
peers = [subject for subject in subjects if subject != "ours"]


def number(text):
    return f"{int(text):,}" if text.isdigit() else text


def measured(value):
    return f"{value:,.2f}" if value >= 1 else f"{value:.2g}" if value < 0.1 else f"{value:.2f}"


def ratio(row, medians, peer):
    if peer not in medians or "ours" not in medians:
        return "–"
    text = f"{medians['ours'] / medians[peer]:.2f}"
    theirs = sizes[row, peer]
    length = f"{sizes[row, 'ours'] / theirs:.2f}" if theirs else "1.00"
    return text if length == "1.00" else f"{text} at {length} bytes"


titles = [*columns, "operation", "MB", "runs", *(f"{subject}, ms" for subject in subjects),
          *(f"ours ÷ {peer}" for peer in peers)]
print("| " + " | ".join(titles) + " |")
print("|" + "--:|" * len(columns) + "---|" + "--:|" * (len(titles) - len(columns) - 1))
for row, measurements in times.items():
    medians = {subject: statistics.median(values) for subject, values in measurements.items()}
    cells = [number(parameter) for parameter in row[:-1]] + [row[-1]]
    cells += [f"{sizes.get((row, 'ours'), 0) / 1e6:,.1f}", str(min(map(len, measurements.values())))]
    cells += [measured(medians[subject]) if subject in medians else "–" for subject in subjects]
    cells += [ratio(row, medians, peer) for peer in peers]
    print("| " + " | ".join(cells) + " |")
