#!/usr/bin/python3 -B
"""Tests the whole system with a NETCONF client: what the client requests, what it is told, and what the
datastore and the daemon then hold. The steps are a table. Each prints a line; the first that differs ends the
test.

  with-netconf-server BUILD_DIRECTORY tests/netconf/netconf_test.py BUILD_DIRECTORY
"""

import re
import signal
import sys
import threading
import time
from dataclasses import dataclass, field
from typing import Callable, Optional

from lxml import etree

from stage import (DELETED, ENTRY, MODULE, NETCONF, OPERATION, PROJECT, SET, Stage, edit_of, example,
                   leaves_of, output_of, put, told, wait_until)

stage = Stage(sys.argv[1])


@dataclass
class Step:
    """What is done, what the client is told, and what changes in the datastore and, if that differs, in the
    daemon."""
    name: str
    do: Callable
    told: object = "ok"
    changes: dict = field(default_factory=dict)
    daemon: Optional[dict] = None


# --- What a client does ---------------------------------------------------------------------------


def edit(changes, target="running", by="root", operation="delete", **options):
    config = changes if etree.iselement(changes) else edit_of(changes, operation)
    return lambda: told(lambda: stage.session(by).edit_config(config=config, target=target, **options))


def ask(operation, *arguments, by="root", **options):
    return lambda: told(lambda: getattr(stage.session(by), operation)(*arguments, **options))


def send(xml, by="root"):
    """Sends an RPC for which the client library has no function."""
    return lambda: told(lambda: stage.session(by).dispatch(etree.fromstring(xml)))


def run_rpc(file, leaves):
    """These leaves of an RPC's output, their number, and whether sysrepo's own client gets the same."""
    path = str(PROJECT / "examples" / file)

    def do():
        reply = stage.session().dispatch(etree.parse(path).getroot())
        output = output_of(etree.fromstring(reply.xml.encode()))
        printed = stage.run(["sysrepocfg", f"--rpc={path}", "-m", "orv_bgp", "-f", "xml", "-t", "10"])
        name = etree.parse(path).getroot().tag
        direct = output_of(etree.fromstring(f"<output>{printed}</output>")[0]) if printed.strip() else {}
        return {"leaves": {leaf: output.get(leaf) for leaf in leaves}, "count": len(output),
                "as sysrepocfg": output == direct}
    return do


def ask_example(file):
    return send((PROJECT / "examples" / file).read_text())


def both(*actions):
    """Runs the actions until one fails. Returns what the client is told about that one or the last."""
    def do():
        for action in actions:
            if (outcome := action()) != "ok":
                break
        return outcome
    return do


def holds(datastore, changes):
    """Whether a datastore is equal to running except for these changes."""
    def do():
        expected = dict(stored)
        for path, value in changes.items():
            put(expected, path, value)
        return differences(datastore, expected, stage.stored(datastore)) or "ok"
    return do


# --- Every leaf and entry ------------------------------------------------------------------------

GLOBLE = "bgp/bgp-globle-neighbors/globle-neighbor[neighbor-address='192.0.2.11']"
FAMILY = "bgp-address-family/address-family[afi='AFI_IP'][safi='SAFI_UNICAST']"
NETWORK = f"{FAMILY}/bgp-family-networks/family-network[prefix='198.51.100.0/24']"
NEIGHBOR = f"{FAMILY}/bgp-family-neighbors/family-neighbor[neighbor-address='192.0.2.11']"
REDISTRIBUTE = f"{FAMILY}/bgp-family-redistributes/family-redistribute[protocol='ospf'][process='1']"
VRF = "bgp-address-family-vrf/address-family-vrf[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='red']"
VRF_NETWORK = f"{VRF}/bgp-family-vrf-networks/family-vrf-network[prefix='10.1.0.0/16']"
VRF_NEIGHBOR = f"{VRF}/bgp-family-vrf-neighbors/family-vrf-neighbor[neighbor-address='10.1.0.1']"
VRF_REDISTRIBUTE = f"{VRF}/bgp-family-vrf-redistributes/family-vrf-redistribute[protocol='ospf'][process='10']"

# Path, value at creation, value after the change and, where it is more, what the daemon drops with the leaf.
LEAVES = [
    ("as", "65001", "65002"),
    ("bgp/router-id", "192.0.2.1", "192.0.2.2"),
    (f"{GLOBLE}/remote-as", "64496", "64497", GLOBLE),
    (f"{GLOBLE}/description", "Provider A", "Provider B"),
    (f"{GLOBLE}/ebgp-multihop", "2", "3"),
    (f"{GLOBLE}/update-source", "loopback0", "192.0.2.1"),
    (NETWORK, ENTRY),
    (f"{NETWORK}/route-map", "OFFICE", "CAMPUS", NETWORK),
    (f"{NETWORK}/backdoor", SET),
    (f"{NEIGHBOR}/activate", SET, None, NEIGHBOR),
    (f"{NEIGHBOR}/next-hop-self", SET),
    (f"{NEIGHBOR}/route-reflector-client", SET),
    (REDISTRIBUTE, ENTRY),
    (f"{REDISTRIBUTE}/route-map", "FROM-OSPF", "FROM-ISIS", REDISTRIBUTE),
    (VRF_NETWORK, ENTRY),
    (f"{VRF_NETWORK}/route-map", "RED-SITE", "RED-LAB", VRF_NETWORK),
    (f"{VRF_NETWORK}/backdoor", SET),
    (f"{VRF_NEIGHBOR}/remote-as", "64521", "64522", VRF_NEIGHBOR),
    (f"{VRF_NEIGHBOR}/description", "Site 1", "Site 2"),
    (f"{VRF_NEIGHBOR}/ebgp-multihop", "2", "3"),
    (f"{VRF_NEIGHBOR}/update-source", "vlan101", "vlan102"),
    (f"{VRF_NEIGHBOR}/activate", SET),
    (VRF_REDISTRIBUTE, ENTRY),
    (f"{VRF_REDISTRIBUTE}/route-map", "RED-OSPF", "RED-RIP", VRF_REDISTRIBUTE),
]

# The subtrees of examples/full.xml that one edit deletes and one edit creates again.
SUBTREES = [
    GLOBLE, "bgp/bgp-globle-neighbors", "bgp",
    NETWORK, f"{FAMILY}/bgp-family-networks", NEIGHBOR, f"{FAMILY}/bgp-family-neighbors",
    REDISTRIBUTE, f"{FAMILY}/bgp-family-redistributes", FAMILY, "bgp-address-family",
    VRF_NETWORK, f"{VRF}/bgp-family-vrf-networks", VRF_NEIGHBOR, f"{VRF}/bgp-family-vrf-neighbors",
    VRF_REDISTRIBUTE, f"{VRF}/bgp-family-vrf-redistributes", VRF, "bgp-address-family-vrf", "",
]

FULL = leaves_of(example("full.xml"))


def short(path):
    """A path without the values of its keys: the end of a step's name."""
    return re.sub(r"\[[^]]*\]", "", path) or "router-bgp"


def leaf_steps():
    for path, value, *_ in LEAVES:
        yield Step(f"create-leaf {short(path)}", edit({path: value}), changes={path: value})
    for path, _, other, *_ in (row for row in LEAVES if len(row) > 2 and row[2]):
        yield Step(f"change-leaf {short(path)}", edit({path: other}), changes={path: other})
    for path, _, *more in reversed(LEAVES):
        yield Step(f"delete-leaf {short(path)}", edit({path: DELETED}), changes={path: DELETED},
                   daemon={more[1]: DELETED} if len(more) > 1 else None)


def below(path):
    return {known: value for known, value in FULL.items()
            if not path or known == path or known.startswith(path + "/")}


def subtree_steps():
    yield Step("create-everything", edit(example("full.xml")), changes=FULL)
    for path in SUBTREES:
        yield Step(f"delete-subtree {short(path)}", edit({path: DELETED}), changes={path: DELETED})
        yield Step(f"create-subtree {short(path)}", edit(below(path)), changes=below(path))


# --- What is refused ------------------------------------------------------------------------------


def at(path):
    return f"/orv_bgp:router-bgp/{path}"


def failed(message, path=None):
    return "operation-failed", message, path


def refused(code, meaning, advice, path):
    return failed(f'the configuration daemon refused it with code {code}, "{meaning}"; {advice}', at(path))


def denied(what, path):
    return "access-denied", f'Access to {what} is denied because "operator" NACM authorization failed.', path


def locked(module, tag):
    return tag, f'Module "{module}" is locked by session N (NC SID N).', None


def closed(reason):
    return failed(f"the configuration daemon has closed the connection ({reason}); when it runs again, restart the "
                  "plug-in host, which connects anew", at("bgp/router-id"))


def unreachable(path):
    return failed("the configuration daemon is not reachable at 127.0.0.1:8888; start it and try again", path)


def timed_out(event):
    return failed(f'Callback event "{event}" with ID N processing timed out.')


MULTIHOP = f"{GLOBLE}/ebgp-multihop"
NO_HOP = refused(16, "invalid value", "correct the value", MULTIHOP)
LOCKED = {tag: locked(module, tag) for module, tag in (("yang", "lock-denied"), ("orv_bgp", "in-use"))}
# Edits that are refused, all on the configuration {"as": "65001"}.
REFUSED_EDITS = [
    ("refuse-value", {MULTIHOP: "0"}, NO_HOP),
    ("refuse-long-text", {f"{GLOBLE}/description": "é" * 80},
     failed("value of description is 160 bytes long, the limit is 81; shorten it", at(f"{GLOBLE}/description"))),
    ("refuse-empty-neighbor", {GLOBLE: ENTRY},
     failed("the edit ends with a neighbor that has no setting of its own; create or delete one of its settings "
            "with it", at(f"{GLOBLE}/neighbor-address"))),
    ("refuse-range", {"as": "0"},
     failed('Value "0" does not satisfy the constraint "1..4294967295" (range, length, or pattern).', at("as"))),
    ("refuse-length", {f"{GLOBLE}/description": "x" * 81},
     failed(f'Value "{"x" * 81}" does not satisfy the constraint "0..80" (range, length, or pattern).',
            at("bgp/bgp-globle-neighbors/globle-neighbor/description"))),
    ("refuse-unknown-leaf", {"bgp/router": "1"}, failed('Unknown element "router".', at("bgp"))),
    ("refuse-missing", {"bgp/router-id": DELETED}, failed('Node "router-id" to be deleted does not exist.')),
]


# The daemon's answer, the edits that get it, and what the client is told.
ANSWERS = [
    ("router_id=16", {"bgp/router-id": "192.0.2.1"},
     refused(16, "invalid value", "correct the value", "bgp/router-id")),
    ("globle_neighbor_description=17", {f"{GLOBLE}/description": "x"},
     refused(17, "configuration does not exist", "configure what it belongs to first", f"{GLOBLE}/description")),
    ("network=18", {NETWORK: ENTRY},
     refused(18, "configuration failed", "see the daemon's log", f"{NETWORK}/prefix")),
    ("redistribute=19", {REDISTRIBUTE: ENTRY},
     refused(19, "not supported", "leave the setting out", f"{REDISTRIBUTE}/process")),
    ("neighbor_vrf_remote_as=20", {f"{VRF_NEIGHBOR}/remote-as": "64521"},
     refused(20, "connection failed", "see the daemon's log", f"{VRF_NEIGHBOR}/remote-as")),
    ("neighbor_vrf_description=7", {f"{VRF_NEIGHBOR}/description": "x"},
     refused(7, "Internal error", "see the daemon's log", f"{VRF_NEIGHBOR}/description")),
]
ANSWER_OPTIONS = [word for answer, *_ in ANSWERS for word in ("--fail", answer)]


def half(router_id):
    """The daemon accepts the router identifier and refuses what follows it."""
    return {"bgp/router-id": router_id, f"{GLOBLE}/ebgp-multihop": "0"}


def change(function, *arguments):
    """Acts on the stage instead of as a client."""
    return lambda: (function(*arguments), "ok")[1]


def shell(command):
    return change(stage.run, ["bash", "-euc", command])


# --- The silent daemon ----------------------------------------------------------------------------


def in_background(action):
    outcome = []
    thread = threading.Thread(target=lambda: outcome.append((action(), time.monotonic())))
    thread.start()
    return lambda: (thread.join(), outcome[0])[1]


def daemon_is_asked():
    """Whether the daemon's socket has unread data."""
    sockets = stage.run(["ss", "-Htn", "state", "established", "sport", "=", ":8888"])
    return any(int(line.split()[0]) > 0 for line in sockets.splitlines())


def while_silent(action, seconds):
    """What the client is told when the daemon continues only this many seconds after the request."""
    def do():
        stage.daemon.send(signal.SIGSTOP)
        outcome = in_background(action)
        wait_until(daemon_is_asked)
        time.sleep(seconds)
        stage.daemon.send(signal.SIGCONT)
        return outcome()[0]
    return do


def silent_daemon():
    """What three clients are told when the daemon stays silent: one edits, one reads, and one also edits."""
    stage.daemon.send(signal.SIGSTOP)
    for client in ("root-2", "root-3"):
        stage.session(client)
    start = time.monotonic()
    first = in_background(edit({"bgp/router-id": "192.0.2.66"}))
    wait_until(daemon_is_asked)
    reader = in_background(ask("get_config", "running", by="root-2"))
    second = in_background(edit({"bgp/router-id": "192.0.2.67"}, by="root-3"))
    (first_told, first_end), (read_told, read_end), (second_told, _) = first(), reader(), second()
    stage.daemon.send(signal.SIGCONT)
    return {"editor": without_numbers(first_told), "waited": first_end - start >= 2,
            "reader": read_told, "reader waited as long": read_end >= first_end - 0.5,
            "second editor": without_numbers(second_told)[0]}


def kill(client):
    stage.session().kill_session(stage.sessions.pop(client).session_id)


def offers(capability):
    return lambda: any(f":{capability}:" in offered for offered in stage.session().server_capabilities)


# --- The table ------------------------------------------------------------------------------------

ANSWERED = [
    ("rpc-summary", {"neighbors[1]/neighbor-number": "3", "neighbors[1]/entry[2]/neighbor": "192.0.2.12",
                     "neighbors[1]/entry[2]/AS": "64497", "neighbors[1]/entry[2]/state-pfxrcd": "Active"}, 36),
    ("rpc-neighbor", {"neighbors[1]/neighbor[1]/neighbor-addr": "192.0.2.11",
                      "neighbors[1]/neighbor[1]/local-as": "65001",
                      "neighbors[1]/neighbor[1]/address-familys[1]/afi-safi[1]/prefix-accepted-statis": "118"}, 33),
    ("rpc-info", {"bgp-info[1]/prefix-number": "3", "bgp-info[1]/entry[2]/network": "10.10.1.0",
                  "bgp-info[1]/entry[2]/mask-len": "24"}, 30),
    ("rpc-evpn", {"list-evpn-route-distinguisher[2]/list-evpn-route-brief[2]/list-nexthop-brief[1]/path":
                  "64496 i"}, 58),
]
AS = {"as": "65001"}
CLEAR = f'<clear-ip-bgp xmlns="{MODULE}"><reconfig-type>soft</reconfig-type></clear-ip-bgp>'
NACM_OFF = f"""<edit-config xmlns="{NETCONF}"><target><running/></target><config>
<nacm xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-acm"><enable-nacm>false</enable-nacm></nacm>
</config></edit-config>"""


def steps():
    # The set-up, by the document's commands.
    yield Step("set-up", both(
        change(stage.carry_out, "Prepare the datastore"), change(stage.carry_out, "Let users in"),
        change(stage.carry_out, "Let users in", "operator"),
        change(stage.start_daemon, "--state", str(PROJECT / "examples/state.json")), change(stage.start_host),
        change(stage.start_server, stage.commands("Start the server"))))

    # Permissions.
    yield Step("first-session", change(stage.carry_out, "A first session"), changes=AS)
    router_id = {"bgp/router-id": "192.0.2.8"}
    yield Step("nacm-edit-denied", edit(router_id, by="operator"),
               denied('the data model "orv_bgp"', at("bgp/router-id")))
    yield Step("nacm-read", ask("get_config", "running", by="operator"))
    yield Step("nacm-rpc", send(CLEAR, by="operator"))
    yield Step("nacm-permit", change(stage.carry_out, "Permissions"))
    yield Step("nacm-edit", edit(router_id, by="operator"), changes=router_id)
    yield Step("nacm-delete", edit({"bgp/router-id": DELETED}, by="operator"), changes={"bgp/router-id": DELETED})
    yield Step("nacm-other-module", send(NACM_OFF, by="operator"),
               denied('the data model "ietf-netconf-acm"', "/ietf-netconf-acm:nacm/enable-nacm"))

    # Refusals.
    for name, changes, expected in REFUSED_EDITS:
        yield Step(name, edit(changes), expected)
    existing = edit_of(AS)
    existing.find(".//{*}as").set(OPERATION, "create")
    yield Step("refuse-existing", edit(existing), ("data-exists", 'Node "as" to be created already exists.', None))
    yield Step("remove-missing", edit({"bgp/router-id": DELETED}, operation="remove"))
    yield Step("delete-as", edit({"as": DELETED}), changes={"as": DELETED})
    yield Step("refuse-without-as", edit({"bgp/router-id": "192.0.2.1"}),
               failed("no AS is configured; configure /orv_bgp:router-bgp/as first", at("bgp/router-id")))
    yield Step("refuse-rpc-without-input", send(f'<ip-bgp-evpn xmlns="{MODULE}"/>'),
               failed("inval arg!", "/orv_bgp:ip-bgp-evpn"))
    yield Step("refuse-rpc-value", send(
        f'<ip-bgp-info xmlns="{MODULE}"><ip-type>IPV5</ip-type></ip-bgp-info>'),
        ("bad-element", 'Invalid value "IPV5" in "ip-type" element.', None))

    yield from leaf_steps()
    yield Step("clean", edit({"": DELETED}), changes={"": DELETED})
    yield from subtree_steps()

    # RPCs.
    for name, leaves, count in ANSWERED:
        yield Step(name, run_rpc(f"{name}.xml", leaves), {"leaves": leaves, "count": count, "as sysrepocfg": True})
    yield Step("rpc-clear", ask_example("rpc-clear.xml"))

    # Operations.
    small = {"as": "65001", "bgp/router-id": "192.0.2.9"}
    yield Step("default-operation-replace", edit(small, default_operation="replace"),
               changes={"": DELETED, **small})
    yield Step("default-operation-none", edit({"bgp/router-id": "192.0.2.10"}, default_operation="none"))
    yield Step("replace-subtree", edit(example("full.xml")), changes=FULL)

    # test-option, validate, error-option.
    yield Step("test-only", edit(example("refused.xml"), test_option="test-only"))
    for option in ("test-then-set", "set"):
        yield Step(f"test-option {option}", edit(example("refused.xml"), test_option=option), NO_HOP)
    for number, option in enumerate(("rollback-on-error", "stop-on-error", "continue-on-error"), 1):
        router_id = f"203.0.113.{number}"
        yield Step(f"error-option {option}", edit(half(router_id), error_option=option), NO_HOP,
                   daemon={"bgp/router-id": router_id})
    yield Step("replay-after-refusal", shell("orv_bgpctl replay --replace --yes"),
               daemon={"bgp/router-id": FULL["bgp/router-id"]})

    # The candidate.
    new_id = {"bgp/router-id": "192.0.2.3"}
    yield Step("candidate-edit", both(edit(new_id, target="candidate"), holds("candidate", new_id)))
    yield Step("candidate-validate", ask("validate", "candidate"))
    yield Step("candidate-commit", ask("commit"), changes=new_id)
    yield Step("candidate-discard", both(edit({"as": DELETED}, target="candidate"),
                                         holds("candidate", {"as": DELETED}), ask("discard_changes"),
                                         holds("candidate", {}), ask("commit")))
    yield Step("candidate-refused", both(edit(half("203.0.113.9"), target="candidate"),
                                         ask("validate", "candidate")))
    yield Step("commit-refused", ask("commit"), NO_HOP, daemon={"bgp/router-id": "203.0.113.9"})
    yield Step("commit-refused-discard", both(ask("discard_changes"), shell("orv_bgpctl replay")), daemon=new_id)
    yield Step("confirmed-commit", offers("confirmed-commit"), False)
    yield Step("confirmed-commit-refused", send(f'<commit xmlns="{NETCONF}"><confirmed/></commit>'),
               ("unknown-element", 'Unknown element "confirmed".', None))

    # Locks.
    other_id = {"bgp/router-id": "192.0.2.4"}
    yield Step("lock", ask("lock", "running"))
    yield Step("lock-twice", ask("lock", "running", by="root-2"), LOCKED["lock-denied"])
    yield Step("lock-edit-of-another", edit(other_id, by="root-2"), LOCKED["in-use"])
    yield Step("lock-edit", edit(other_id), changes=other_id)
    yield Step("lock-commit-of-another", ask("commit", by="root-2"), LOCKED["lock-denied"])
    yield Step("unlock-by-another", ask("unlock", "running", by="root-2"), LOCKED["lock-denied"])
    yield Step("unlock", ask("unlock", "running"))
    yield Step("lock-candidate", ask("lock", "candidate", by="root-2"))
    yield Step("lock-candidate-edit-of-another", edit(new_id, target="candidate"), LOCKED["in-use"])
    yield Step("lock-candidate-running", edit(new_id), changes=new_id)
    yield Step("lock-kill-session", both(change(kill, "root-2"), edit(other_id, target="candidate"),
                                         ask("discard_changes")))

    # Copies.
    yield Step("copy-to-startup", both(ask("copy_config", "running", "startup"), holds("startup", {})))
    yield Step("copy-edit", edit({"bgp": DELETED}), changes={"bgp": DELETED})
    yield Step("copy-from-startup", ask("copy_config", "startup", "running"),
               changes={**below("bgp"), **new_id})
    yield Step("copy-to-candidate", both(edit({"as": DELETED}, target="candidate"),
                                         ask("copy_config", "startup", "candidate"), ask("commit")))

    # Time.
    yield Step("silent-short", while_silent(edit(other_id), 5.5), changes=other_id)
    yield Step("server-limit", change(stage.restart_server, "netopeer2-server -d -v 1 -t 2"))
    yield Step("silent-limit", silent_daemon, {
        "editor": timed_out("change"), "waited": True, "reader": "ok", "reader waited as long": True,
        "second editor": "operation-failed"}, daemon={"bgp/router-id": "192.0.2.66"})
    yield Step("silent-replay", shell("orv_bgpctl replay"), daemon=other_id)
    yield Step("server-default", change(stage.restart_server, "netopeer2-server -d -v 1"))
    yield Step("silent-default-edit", while_silent(edit(new_id), 3), timed_out("rpc"), changes=new_id)
    yield Step("silent-default-rpc", while_silent(send(CLEAR), 3), timed_out("rpc"))
    yield Step("server-as-documented", change(stage.restart_server, stage.commands("Start the server")))

    # The daemon's faults.
    yield Step("daemon-gone", both(change(stage.daemon.stop, signal.SIGKILL), edit(other_id)),
               closed("no whole result code came"))
    yield Step("daemon-gone-rpc", send(CLEAR), unreachable("/orv_bgp:clear-ip-bgp"))
    yield Step("daemon-restarted", both(change(stage.start_daemon), edit(other_id)), closed("it takes no data"),
               daemon={"": DELETED})
    yield Step("daemon-restarted-rpc", send(CLEAR))
    yield Step("daemon-restarted-replay", both(change(stage.restart_host), shell("orv_bgpctl replay")),
               daemon=stored)
    yield Step("daemon-restarted-edit", edit(other_id), changes=other_id)
    yield Step("daemon-absent", both(change(stage.daemon.stop, signal.SIGKILL), change(stage.restart_host),
                                     edit(new_id)), unreachable(at("bgp/router-id")))
    yield Step("daemon-answers", change(stage.start_daemon, *ANSWER_OPTIONS), daemon={"": DELETED})
    yield Step("daemon-answers-clean", edit({"": DELETED}), changes={"": DELETED})
    yield Step("daemon-answers-as", edit(AS), changes=AS)
    for answer, changes, expected in ANSWERS:
        yield Step(f"answer {answer}", edit(changes), expected)
    yield Step("rpc-cut", both(change(stage.restart_daemon, "--fault", "rpc_ip_bgp_summary=close"),
                               ask_example("rpc-summary.xml")),
               failed("the configuration daemon gave no reply (nothing came); see its log", "/orv_bgp:ip-bgp-summary"),
               daemon={"": DELETED})
    yield Step("host-gone", both(change(stage.host.stop), edit(new_id)), changes=new_id, daemon={})
    yield Step("delete-startup", ask("delete_config", "startup"))


held, stored = {}, {}


def differences(where, expected, found):
    return [f"  {where}, {path}: expected {expected.get(path)!r}, found {found.get(path)!r}"
            for path in sorted({*expected, *found}) if expected.get(path) != found.get(path)]


def disagreement():
    """How datastore and daemon differ from what is expected, after they had time to reach it."""
    def found():
        of_daemon = [] if stage.daemon.ended() else differences("daemon", held, stage.held())
        return differences("datastore", stored, stage.stored()) + of_daemon
    end = time.monotonic() + 5
    while (faults := found()) and time.monotonic() < end:
        pass
    return faults


def without_numbers(outcome):
    """Replaces the numbers of sessions and events, which differ between runs."""
    if isinstance(outcome, tuple) and outcome[1]:
        return outcome[0], re.sub(r"\b(session|SID|ID) \d+", r"\1 N", outcome[1]), outcome[2]
    return outcome


def faults_of(step):
    outcome = without_numbers(step.do())
    if outcome != step.told:
        return [f"  told: expected {step.told!r}", f"        found    {outcome!r}"]
    for path, value in step.changes.items():
        put(stored, path, value)
    for path, value in dict(step.changes if step.daemon is None else step.daemon).items():
        put(held, path, value)
    return disagreement()


def undone(names):
    """The names of steps in the document that are not steps."""
    document = (PROJECT / "docs/netconf.md").read_text()
    named = re.findall(r"`([^`]+)`", "".join(re.findall(r"(?m)^\|.*\|([^|]*)\|$", document)))
    if not named:
        return ["the document names no step"]
    return [f"the document names the step {name}" for name in named
            if not any(known == name or known.startswith(name + " ") for known in names)]


def main():
    names = []
    start = time.monotonic()
    try:
        for step in steps():
            begin = time.monotonic()
            if faults := faults_of(step):
                print(f"FAILED {step.name}", *faults, sep="\n")
                return 1
            names.append(step.name)
            print(f"{time.monotonic() - begin:5.1f} s  ok  {step.name}", flush=True)
    except Exception:
        print(stage.said())
        raise
    finally:
        stage.close()
    print(f"{len(names)} steps in {time.monotonic() - start:.0f} s", *undone(names), sep="\n")
    return len(undone(names)) > 0 or len(set(names)) != len(names)


sys.exit(main())
