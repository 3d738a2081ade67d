# SPDX-License-Identifier: Apache-2.0
"""undecided_conditions.py MINIMUM: reads what llvm-cov exports, prints each condition that decided nothing in any run, and
fails if fewer than MINIMUM per cent of the conditions decide."""

import collections
import json
import sys

minimum = int(sys.argv[1])
decisions = collections.defaultdict(list)
for file in json.load(sys.stdin)["data"][0]["files"]:
    for line, column, *_, conditions in file.get("mcdc_records", []):
        decisions[file["filename"], line, column].append(conditions)

conditions = decide = 0
for (name, line, column), instances in sorted(decisions.items()):
    for number, decided in enumerate(map(any, zip(*instances)), 1):
        conditions += 1
        decide += decided
        if not decided:
            print(f"{name.removeprefix('build/')}:{line}:{column}: condition {number} decides nothing")
print(f"{len(decisions)} decisions; {decide} of {conditions} conditions decide, at least {minimum} % have to")
if not decisions or 100 * decide < minimum * conditions:
    sys.exit(1)
