# SPDX-License-Identifier: Apache-2.0
import dataclasses
import json
import pathlib

from varnel.records import Transfer

SCHEMA = pathlib.Path(__file__).resolve().parents[3] / "docs/schema/commands.json"


def test_transfers_have_all_that_the_command_prints():
    printed = json.loads(SCHEMA.read_text())["$defs"]["varnel-sim trace"]["oneOf"][0]["properties"]
    assert {each.name for each in dataclasses.fields(Transfer)} == {*printed, "time"} - {"time_seconds"}
