#!/usr/bin/python3
"""Makes an edit or runs an RPC, each from a file of the examples, through a NETCONF server on this machine.

  client.py edit FILE    merges the file's configuration into running
  client.py rpc FILE     runs the file's RPC and prints what it answers

Logs in as the user that runs it, with the key ~/.ssh/id_ecdsa. 1 when the server refuses, and why.
"""

import getpass
import os
import sys

from lxml import etree
from ncclient import manager
from ncclient.operations import RPCError

CONFIG = "{urn:ietf:params:xml:ns:netconf:base:1.0}config"


def ask(session, what, content):
    if what == "rpc":
        return session.dispatch(content).xml
    config = etree.Element(CONFIG)
    config.append(content)
    return session.edit_config(config, target="running").xml


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in ("edit", "rpc"):
        sys.exit(__doc__)
    content = etree.parse(sys.argv[2]).getroot()
    # ncclient 0.6.17 reads a key only if it also gets a password, even if the key has none.
    with manager.connect(host="127.0.0.1", port=830, username=getpass.getuser(), password="", timeout=90,
                         key_filename=os.path.expanduser("~/.ssh/id_ecdsa"), allow_agent=False,
                         look_for_keys=False, hostkey_verify=False) as session:
        try:
            reply = etree.fromstring(ask(session, sys.argv[1], content).encode())
            print(etree.tostring(reply, pretty_print=True, encoding="unicode"))
        except RPCError as error:
            sys.exit(f"{error.tag}: {error.message} (path: {error.path})")


main()
