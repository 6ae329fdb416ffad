"""Prints the table of the medians in a result file of the store's benchmarks.

usage: table.py RESULTS.json
"""
import collections
import json
import statistics
import sys

with open(sys.argv[1], encoding="utf-8") as file:
    results = json.load(file)["benchmarks"]
failures = [result["name"] for result in results if result.get("error_occurred")]
if failures or not results:
    sys.exit("no table: " + (", ".join(sorted(set(failures))) or "nothing was measured") + " failed")

times = collections.defaultdict(lambda: collections.defaultdict(list))
sizes = {}
for result in results:
    operation, subject, entries, icon = result["name"].split("/")[:4]
    row = (int(entries), int(icon), operation)
    times[row][subject].append(result["real_time"])
    sizes[row] = result["bytes"]

print("| entries | icon, KiB | file, MB | operation | runs | ours, ms | libplist, ms | pugixml, ms | floor, ms "
      "| ours ÷ libplist | ours ÷ pugixml | ours ÷ floor |")
print("|--:|--:|--:|---|--:|--:|--:|--:|--:|--:|--:|--:|")
order = ["load", "save", "change"]
for row in sorted(times, key=lambda row: (row[0], row[1], order.index(row[2]))):
    entries, icon, operation = row
    median = {subject: statistics.median(values) for subject, values in times[row].items()}
    peers = [median["libplist"], median["pugixml"], median["floor"]]
    cells = [f"{entries:,}", f"{icon // 1024}", f"{sizes[row] / 1e6:,.1f}", operation, str(len(times[row]["ours"]))]
    cells += [f"{value:,.2f}" for value in [median["ours"], *peers]]
    cells += [f"{median['ours'] / value:.2f}" for value in peers]
    print("| " + " | ".join(cells) + " |")
