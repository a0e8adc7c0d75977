#!/usr/bin/python3
"""An independent SOME/IP peer for the binding's two-process test: scapy builds and dissects the
messages, plain sockets carry them. Run inside the test's network namespace while zevo-keysim
serves at 127.0.0.2 (SD on UDP 30490, services on UDP and TCP 30501). Exit 0 when every check
holds; otherwise the failed check is printed and the exit code is 1."""

import socket
import sys

from scapy.contrib.automotive import someip

SERVER = "127.0.0.2"
SD_PORT = 30490
SERVICE_PORT = 30501
TRAINING_COUNTER = 0x2C56
READ = 0x0002
failures = []


def check(holds, what):
    if not holds:
        failures.append(what)
        print("FAILED: " + what)


def udp_socket(address, port=0):
    sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    sock.settimeout(5)
    sock.bind((address, port))
    return sock


def request(method=READ, service=TRAINING_COUNTER, iface_ver=1, proto_ver=1, session=1, msg_type=0x00,
            payload=b"\x00\x00\x00\x00"):
    message = someip.SOMEIP(srv_id=service, sub_id=0, method_id=method, client_id=0x4242, session_id=session,
                            proto_ver=proto_ver, iface_ver=iface_ver, msg_type=msg_type, retcode=0)
    return bytes(message / payload)


def find_is_answered_with_a_unicast_offer():
    sock = udp_socket("127.0.0.3", SD_PORT)
    entry = someip.SDEntry_Service(type=0x00, srv_id=TRAINING_COUNTER, inst_id=0xFFFF, major_ver=0xFF,
                                   ttl=3, minor_ver=0xFFFFFFFF)
    sd = someip.SD(flags=0xC0, entry_array=[entry])
    header = someip.SOMEIP(srv_id=0xFFFF, sub_id=1, event_id=0x0100, client_id=0, session_id=1, iface_ver=1,
                           msg_type=0x02, retcode=0)
    sock.sendto(bytes(header / sd), (SERVER, SD_PORT))
    for _ in range(50):
        data, sender = sock.recvfrom(65536)
        answer = someip.SOMEIP(data)
        if sender[0] != SERVER or not answer.haslayer(someip.SD):
            continue
        offers = [e for e in answer[someip.SD].entry_array if e.type == 0x01 and e.srv_id == TRAINING_COUNTER]
        if not offers:
            continue
        offer = offers[0]
        check(offer.inst_id == 1 and offer.major_ver == 1 and offer.ttl > 0, "the offer's instance, version, TTL")
        endpoints = {(o.l4_proto, o.addr, o.port) for o in answer[someip.SD].option_array
                     if isinstance(o, someip.SDOption_IP4_EndPoint)}
        check((0x11, SERVER, SERVICE_PORT) in endpoints, "a UDP endpoint option 127.0.0.2:30501")
        check((0x06, SERVER, SERVICE_PORT) in endpoints, "a TCP endpoint option 127.0.0.2:30501")
        check(answer.srv_id == 0xFFFF and answer.msg_type == 0x02 and answer.session_id != 0, "the SD header")
        return
    check(False, "an Offer answers the Find")


def answer_to(sock, data):
    sock.sendto(data, (SERVER, SERVICE_PORT))
    return someip.SOMEIP(sock.recvfrom(65536)[0])


def requests_over_udp():
    sock = udp_socket("127.0.0.3")
    good = answer_to(sock, request(session=7))
    check(good.msg_type == 0x80 and good.retcode == 0, "a Read is answered with RESPONSE E_OK")
    check(good.client_id == 0x4242 and good.session_id == 7, "the response copies client and session id")
    cases = [
        (request(proto_ver=2, session=8), 0x07, "wrong protocol version"),
        (request(service=0x1111, session=9), 0x02, "unknown service"),
        (request(iface_ver=9, session=10), 0x08, "wrong interface version"),
        (request(method=0x0009, session=11), 0x03, "unknown method"),
    ]
    for data, code, what in cases:
        answer = answer_to(sock, data)
        check(answer.msg_type == 0x81 and answer.retcode == code and len(bytes(answer)) == 16,
              what + " is answered with ERROR 0x%02X and no payload" % code)
    # A REQUEST_NO_RETURN with a fault is never answered: the next answer is the next request's.
    sock.sendto(request(service=0x1111, session=12, msg_type=0x01) + request(session=13), (SERVER, SERVICE_PORT))
    answer = someip.SOMEIP(sock.recvfrom(65536)[0])
    check(answer.session_id == 13, "no answer to a faulty REQUEST_NO_RETURN; two messages in one datagram")


def request_over_tcp_after_a_cookie():
    sock = socket.create_connection((SERVER, SERVICE_PORT), timeout=5)
    cookie = bytes.fromhex("FFFF0000 00000008 DEADBEEF 01010100".replace(" ", ""))
    stream = cookie + request(session=21)
    sock.sendall(stream[:20])
    sock.sendall(stream[20:])
    data = b""
    while len(data) < 16 or len(data) < 8 + int.from_bytes(data[4:8], "big"):
        chunk = sock.recv(65536)
        if not chunk:
            break
        data += chunk
    answer = someip.SOMEIP(data)
    check(answer.msg_type == 0x80 and answer.session_id == 21, "a request split over TCP segments is answered")
    sock.close()


find_is_answered_with_a_unicast_offer()
requests_over_udp()
request_over_tcp_after_a_cookie()
print("scapy peer: %d checks failed" % len(failures))
sys.exit(1 if failures else 0)
