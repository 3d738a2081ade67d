# SPDX-License-Identifier: Apache-2.0
"""A sender on port 7000 that does not do what it should: peer.py ANNOUNCED SENT HOW

Says when it listens, and serves one client: announces a size, sends so many bytes, and then, as HOW says: closes; resets the connection; or
prints a line and waits for one on standard input before it sends what is missing and closes (pause).
"""
import socket
import struct
import sys

announced, sent, how = int(sys.argv[1]), int(sys.argv[2]), sys.argv[3]
listener = socket.socket()
listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
listener.bind(("127.0.0.1", 7000))
listener.listen()
print("listening", flush=True)
client, _ = listener.accept()
if how != "silent":
    client.sendall(struct.pack("<I", announced))
client.sendall(b"x" * sent)
if how == "reset":
    client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
if how == "pause":
    print("sent", flush=True)
    if sys.stdin.readline():
        try:
            client.sendall(b"x" * (announced - sent))
        except OSError:
            pass  # the client has given up
client.close()
