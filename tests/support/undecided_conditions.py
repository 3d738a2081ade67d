# SPDX-License-Identifier: Apache-2.0
"""Reads what llvm-cov exports, and prints each condition that decided nothing in any run. Fails if there is one."""

import collections
import json
import sys

decisions = collections.defaultdict(list)
for file in json.load(sys.stdin)["data"][0]["files"]:
    for line, column, *_, conditions in file.get("mcdc_records", []):
        decisions[file["filename"], line, column].append(conditions)

undecided = 0
for (name, line, column), instances in sorted(decisions.items()):
    for number, decided in enumerate(map(any, zip(*instances)), 1):
        if not decided:
            print(f"{name.removeprefix('build/')}:{line}:{column}: condition {number} decides nothing")
            undecided += 1
print(f"{len(decisions)} decisions; {undecided} conditions decide nothing")
if not decisions or undecided:
    sys.exit(1)
