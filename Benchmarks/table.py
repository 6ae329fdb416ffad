"""Prints the tables of the medians in a result file of a benchmark program.

usage: table.py RESULTS.json

A measurement is named OPERATION/SUBJECT/PARAMETER...; the program gives the parameters' column titles in its context
"columns", with commas between them. Rows and subjects stand in the order in which they were first measured. A counter
"bytes" says how much was read or written; where a subject's differs from ours, the ratio says so too. The time is that
of the processor, but for measurements that are registered as of real time. A counter "megabytes" is what was measured
instead of the time; such measurements have a table of their own. When the program's context "growth" names a column and
a value of it, with a comma between them, a last column tells how ours, divided by the row's value, compares with that of
the row that has this one, all else being equal.
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

context = document["context"]
columns = [title for title in context.get("columns", "").split(",") if title]
growth_column, _, growth_value = context.get("growth", "").partition(",")
milliseconds = {"ns": 1e-6, "us": 1e-3, "ms": 1, "s": 1e3}


def number(text):
    return f"{int(text):,}" if text.isdigit() else text


def rounded(value):
    return f"{value:,.2f}" if value >= 1 else f"{value:.2g}" if value < 0.1 else f"{value:.2f}"


def measured(result):
    if "megabytes" in result:
        return result["megabytes"]
    clock = "real_time" if result["name"].endswith("/real_time") else "cpu_time"
    return result[clock] * milliseconds[result["time_unit"]]


class Table:
    """The measurements in one unit."""

    def __init__(self, unit, measurements):
        self.unit = unit
        self.values = {}
        self.sizes = {}
        self.subjects = []
        for result in measurements:
            operation, subject, *parameters = result["name"].split("/")
            row = (*parameters[:len(columns)], operation)
            self.values.setdefault(row, {}).setdefault(subject, []).append(measured(result))
            self.sizes[row, subject] = result.get("bytes", 0)
            if subject not in self.subjects:
                self.subjects.append(subject)

    def median(self, row, subject):
        values = self.values.get(row, {}).get(subject)
        return statistics.median(values) if values else None

    def ratio(self, row, peer):
        ours, theirs = self.median(row, "ours"), self.median(row, peer)
        if not ours or not theirs:
            return "–"
        size = self.sizes[row, peer]
        length = f"{self.sizes[row, 'ours'] / size:.2f}" if size else "1.00"
        return f"{ours / theirs:.2f}" + ("" if length == "1.00" else f" at {length} bytes")

    def growth(self, row):
        index = columns.index(growth_column)
        start = self.median((*row[:index], growth_value, *row[index + 1:]), "ours")
        ours = self.median(row, "ours")
        if not ours or not start:
            return "–"
        return f"{ours / int(row[index]) / (start / int(growth_value)):.2f}"

    def print(self):
        peers = [subject for subject in self.subjects if subject != "ours"]
        titles = [*columns, "operation", "MB", "runs", *(f"{subject}, {self.unit}" for subject in self.subjects),
                  *(f"ours ÷ {peer}" for peer in peers)]
        if growth_column:
            titles.append(f"for each of the {growth_column} ÷ at {number(growth_value)}")
        print("| " + " | ".join(titles) + " |")
        print("|" + "--:|" * len(columns) + "---|" + "--:|" * (len(titles) - len(columns) - 1))
        for row, measurements in self.values.items():
            cells = [number(parameter) for parameter in row[:-1]] + [row[-1]]
            cells += [f"{self.sizes.get((row, 'ours'), 0) / 1e6:,.1f}", str(min(map(len, measurements.values())))]
            medians = [self.median(row, subject) for subject in self.subjects]
            cells += ["–" if median is None else rounded(median) for median in medians]
            cells += [self.ratio(row, peer) for peer in peers]
            if growth_column:
                cells.append(self.growth(row))
            print("| " + " | ".join(cells) + " |")


timed = [result for result in results if "megabytes" not in result]
weighed = [result for result in results if "megabytes" in result]
separator = ""
for unit, measurements in (("ms", timed), ("MB", weighed)):
    if measurements:
        print(separator, end="")
        Table(unit, measurements).print()
        separator = "\n"
