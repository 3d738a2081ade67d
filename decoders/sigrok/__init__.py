# SPDX-License-Identifier: Apache-2.0
"""
Stacked on 'i2c': names SMBus transactions, and the registers and values of chips on management boards.

The option 'board' names a board file of varnel-sim(1), which says which chip is where; multiplexers are followed. Without
one, 'chips' lists addresses and types: "58/car2512 20/pca9555".
"""

from .pd import Decoder
