# SPDX-License-Identifier: Apache-2.0
"""The library of varnel in Python: docs/python.md. Nothing is loaded before one of the modules is imported."""
