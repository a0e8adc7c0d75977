#!/usr/bin/python3
"""An independent tester: scapy's DoIP and UDS layers against the entity on 127.0.0.1.

Usage: scapy_tester.py PORT [REQUEST=ANSWER...]. Runs vehicle identification over UDP, routing
activation through DoIPSocket, and diagnostic messages; prints "ok" and exits 0 when every answer
is right, otherwise names the first wrong one and exits 1. Without exchanges it sends its own
(those of the DoIP test server); REQUEST=ANSWER pairs in hex ("222c56=622c56000002") replace
them, each request built by scapy's UDS layer and each final answer compared byte for byte.
"""
import socket
import sys

from scapy.contrib.automotive.doip import DoIP, DoIPSocket
from scapy.contrib.automotive.uds import UDS, UDS_RDBI, UDS_TP, UDS_DSC

ENTITY = 0x0010
TESTER = 0x0E80


def fail(what):
    print("FAILED: " + what)
    sys.exit(1)


def identification(port):
    udp = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    udp.settimeout(3)
    udp.sendto(bytes(DoIP(payload_type=0x0001)), ("127.0.0.1", port))
    data, _ = udp.recvfrom(4096)
    answer = DoIP(data)
    if answer.payload_type != 0x0004:
        fail("identification answered with payload type 0x%04x" % answer.payload_type)
    if answer.vin != b"ZEVOBENCH00000001" or answer.logical_address != ENTITY:
        fail("identification: VIN %r, address 0x%04x" % (answer.vin, answer.logical_address))
    udp.sendto(bytes(DoIP(payload_type=0x4001)), ("127.0.0.1", port))
    status = DoIP(udp.recvfrom(4096)[0])
    if status.payload_type != 0x4002:
        fail("entity status answered with payload type 0x%04x" % status.payload_type)
    udp.close()


def receive_frame(sock):
    """The next DoIP message, decoded by scapy. The stream is cut by the header's payload length
    here: scapy's acknowledge layer takes every byte after it as the echoed message, so an answer
    that arrives in the same read as its acknowledge would vanish into it."""
    def exactly(count):
        data = b""
        while len(data) < count:
            chunk = sock.ins.recv(count - len(data))
            if not chunk:
                fail("the entity closed the connection")
            data += chunk
        return data
    header = exactly(8)
    length = int.from_bytes(header[4:8], "big")
    return DoIP(header + exactly(length))


def diagnostic(sock, uds):
    """Sends one UDS request; returns the UDS answer after checking that the ack came first."""
    sock.send(DoIP(payload_type=0x8001, source_address=TESTER, target_address=ENTITY) / uds)
    ack = receive_frame(sock)
    if ack.payload_type != 0x8002 or ack.ack_code != 0:
        fail("no positive acknowledge before the answer to %s: %r" % (bytes(uds).hex(), ack))
    while True:
        answer = receive_frame(sock)
        if answer.payload_type != 0x8001:
            fail("expected a diagnostic message, got payload type 0x%04x" % answer.payload_type)
        if answer.source_address != ENTITY or answer.target_address != TESTER:
            fail("answer from 0x%04x to 0x%04x" % (answer.source_address, answer.target_address))
        if bytes(answer.payload)[:1] == b"\x7f" and bytes(answer.payload)[2:3] == b"\x78":
            continue  # response pending: the final answer follows
        return answer.payload


def given_exchanges(sock, pairs):
    """Sends each REQUEST of REQUEST=ANSWER and compares the final answer with ANSWER exactly."""
    for pair in pairs:
        request, expected = (bytes.fromhex(part) for part in pair.split("="))
        uds = UDS(request)
        if bytes(uds) != request:
            fail("scapy's UDS layer rebuilt %s as %s" % (request.hex(), bytes(uds).hex()))
        answer = bytes(diagnostic(sock, uds))
        if answer != expected:
            fail("%s answered %s, expected %s" % (request.hex(), answer.hex(), expected.hex()))
        print("%s -> %s (%s)" % (request.hex(), answer.hex(), UDS(answer).summary()))


def main():
    port = int(sys.argv[1])
    identification(port)
    # DoIPSocket activates routing itself and takes the entity's address from the response.
    sock = DoIPSocket("127.0.0.1", port, source_address=TESTER)
    if getattr(sock, "target_address", None) != ENTITY:
        fail("routing activation did not succeed")
    sock.ins.settimeout(3)
    if len(sys.argv) > 2:
        given_exchanges(sock, sys.argv[2:])
        sock.close()
        print("ok")
        return
    answer = diagnostic(sock, UDS() / UDS_RDBI(identifiers=[0xF190]))
    if answer.service != 0x62 or bytes(answer)[3:] != b"ZEVOBENCH00000001":
        fail("read VIN answered %s" % bytes(answer).hex())
    answer = diagnostic(sock, UDS() / UDS_DSC(diagnosticSessionType=0x03))
    if bytes(answer) != bytes.fromhex("5003003201f4"):
        fail("session control answered %s" % bytes(answer).hex())
    answer = diagnostic(sock, UDS() / UDS_TP(subFunction=0x00))
    if bytes(answer) != bytes.fromhex("7e00"):
        fail("tester present answered %s" % bytes(answer).hex())
    answer = diagnostic(sock, UDS(bytes.fromhex("3101c00a")))
    if bytes(answer) != bytes.fromhex("7101c00a"):
        fail("routine control answered %s" % bytes(answer).hex())
    sock.close()
    print("ok")


if __name__ == "__main__":
    main()
