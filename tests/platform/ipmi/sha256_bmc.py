# SPDX-License-Identifier: Apache-2.0
"""sha256_bmc.py ADDRESS: a BMC that supports only cipher suite 17 and answers NetFn 38h, command 10h, with the
request's data. Based on pyghmi's server, which supports only suite 3."""

import hashlib
import hmac
import os
import struct
import sys
import types

from pyghmi.ipmi import bmc
from pyghmi.ipmi.private import constants, serversession

NO_MATCHING_SUITE = 0x11  # IPMI 2.0 table 13-15
RAKP_HMAC_SHA256, HMAC_SHA256_128, AES_CBC_128 = 3, 4, 1
INTEGRITY_LENGTH = 16


class Session(serversession.ServerSession):
    def create_open_session_response(self, request):
        self.clientsessionid = request[4:8]
        self.currhashlib, self.currhashlen = hashlib.sha256, INTEGRITY_LENGTH
        if (request[12], request[20], request[28]) != (RAKP_HMAC_SHA256, HMAC_SHA256_128, AES_CBC_128):
            return bytearray([request[0], NO_MATCHING_SUITE, 0, 0]) + self.clientsessionid
        self.managedsessionid = os.urandom(4)
        self.privlevel = 4
        return (bytearray([request[0], 0, self.privlevel, 0]) + self.clientsessionid + self.managedsessionid
                + bytearray([0, 0, 0, 8, RAKP_HMAC_SHA256, 0, 0, 0, 1, 0, 0, 8, HMAC_SHA256_128, 0, 0, 0,
                             2, 0, 0, 8, AES_CBC_128, 0, 0, 0]))

    def _send_rakp4(self, tag, status):
        check = hmac.new(self.sik, bytes(bytearray(self.Rm) + self.managedsessionid + bytearray(self.uuiddata)),
                         hashlib.sha256).digest()[:INTEGRITY_LENGTH]
        self.send_payload(bytearray([tag, status, 0, 0]) + self.clientsessionid + check,
                          constants.payload_types['rakp4'], retry=False)
        self.confalgo, self.integrityalgo = 'aes', 'sha256'
        self.sequencenumber = 1
        self.sessionid = struct.unpack('<I', bytes(self.clientsessionid))[0]


class Bmc(bmc.Bmc):
    def handle_raw_request(self, request, session):
        if (request['netfn'], request['command']) == (0x38, 0x10):
            session.send_ipmi_response(data=list(request['data']))
        else:
            session.send_ipmi_response(code=0xc1)


serversession.ServerSession = Session
# The rest of the handshake is the same with the other hash.
serversession.hashlib = types.SimpleNamespace(sha1=hashlib.sha256)
Bmc({'admin': 'secret'}, address=sys.argv[1]).listen()
