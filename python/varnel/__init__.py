# SPDX-License-Identifier: Apache-2.0
"""The library of varnel and its simulated board in Python: docs/python.md. Nothing is loaded before one of the modules is
imported."""
