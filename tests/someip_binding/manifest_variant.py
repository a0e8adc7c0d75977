#!/usr/bin/python3
"""Writes a test manifest from a shipped one with a few values replaced, so that tests never
carry whole copies of the deployment manifests.
Usage: manifest_variant.py SHIPPED OUT [--unicast ADDRESS] [--request-transport udp|tcp]
                           [--request-timeout MS] [--ttl S]"""
import argparse
import json

parser = argparse.ArgumentParser()
parser.add_argument("shipped")
parser.add_argument("out")
parser.add_argument("--unicast")
parser.add_argument("--request-transport", choices=["udp", "tcp"])
parser.add_argument("--request-timeout", type=int)
parser.add_argument("--ttl", type=int)
arguments = parser.parse_args()
with open(arguments.shipped) as shipped:
    manifest = json.load(shipped)
if arguments.unicast:
    manifest["unicast"] = arguments.unicast
if arguments.request_transport:
    for interface in manifest["interfaces"]:
        interface["request_transport"] = arguments.request_transport
if arguments.request_timeout is not None:
    manifest["request_timeout_ms"] = arguments.request_timeout
if arguments.ttl is not None:
    manifest.setdefault("service_discovery", {})["ttl_s"] = arguments.ttl
with open(arguments.out, "w") as out:
    json.dump(manifest, out)
