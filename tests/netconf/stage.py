"""The switch that the steps act on: a datastore, the plug-in host, the configuration daemon and the
NETCONF server, set up with the commands of docs/netconf.md. Run it inside with-netconf-server."""

import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import tempfile
import time

from lxml import etree
from ncclient import manager
from ncclient.operations import RPCError
from ncclient.transport import session, ssh

# The interval in seconds at which the client checks whether there is something to send. Older versions
# of ncclient have it in ssh, newer ones in session.
ssh.TICK = session.TICK = 0.005

PROJECT = pathlib.Path(__file__).resolve().parents[2]
MODULE = "urn:orv:params:xml:ns:yang:orv_bgp"
NETCONF = "urn:ietf:params:xml:ns:netconf:base:1.0"
OPERATION = f"{{{NETCONF}}}operation"

LIST_KEYS = {
    "globle-neighbor": ["neighbor-address"],
    "address-family": ["afi", "safi"],
    "address-family-vrf": ["afi", "safi", "vrf-name"],
    "family-network": ["prefix"],
    "family-neighbor": ["neighbor-address"],
    "family-redistribute": ["protocol", "process"],
    "family-vrf-network": ["prefix"],
    "family-vrf-neighbor": ["neighbor-address"],
    "family-vrf-redistribute": ["protocol", "process"],
}
# Entries that matter even with nothing but their keys.
TELLING_ENTRY = re.compile(r"(network|redistribute)(\[[^]]*\])+$")

# The value of leaves and entries without a text; the value that deletes a node.
SET = "true"
ENTRY = ""
DELETED = None


def local(node):
    return etree.QName(node).localname


def wait_until(condition, process=None, seconds=30):
    end = time.monotonic() + seconds
    while not condition():
        if process is not None and process.ended():
            raise RuntimeError(f"{process.name} ended early: {process.said()}")
        if time.monotonic() > end:
            raise RuntimeError(f"it takes longer than {seconds} s: {condition.__name__}")
        time.sleep(0.02)


# --- Configuration as a dictionary of paths and values -------------------------------------------


def put(configuration, path, value):
    """Changes a configuration as an edit of one node would."""
    for known in [known for known in configuration if known == path or known.startswith((path + "/", path + "["))]:
        del configuration[known]
    entry = path.rsplit("/", 1)[0]
    if path == "":
        configuration.clear()
    elif value is not DELETED:
        configuration.pop(entry, None)
        configuration[path] = value
    elif TELLING_ENTRY.search(entry) and not any(known.startswith(entry + "/") for known in configuration):
        configuration[entry] = ENTRY


def edit_of(changes, operation="delete"):
    """The <config> of an edit that makes these changes; deletes what is DELETED."""
    config = etree.Element(f"{{{NETCONF}}}config", nsmap={"nc": NETCONF})
    nodes = {"": etree.SubElement(config, f"{{{MODULE}}}router-bgp", nsmap={None: MODULE})}
    for path, value in changes.items():
        walked = ""
        for step in re.findall(r"[\w-]+(?:\[[\w-]+='[^']*'\])*", path):
            parent, walked = nodes[walked], f"{walked}/{step}".lstrip("/")
            if walked not in nodes:
                name, *keys = re.split(r"\[", step, maxsplit=1)
                nodes[walked] = etree.SubElement(parent, f"{{{MODULE}}}{name}")
                for key, text in re.findall(r"([\w-]+)='([^']*)'", keys[0] if keys else ""):
                    etree.SubElement(nodes[walked], f"{{{MODULE}}}{key}").text = text
        if value is DELETED:
            nodes[path].set(OPERATION, operation)
        elif value not in (SET, ENTRY):
            nodes[path].text = value
    return config


def example(name):
    """The <config> with the content of an example file."""
    config = etree.Element(f"{{{NETCONF}}}config", nsmap={"nc": NETCONF})
    config.append(etree.parse(str(PROJECT / "examples" / name)).getroot())
    return config


def leaves_of(node, path=""):
    """The nodes below an element of the datastore."""
    found = {}
    for child in node.iterchildren(tag=etree.Element):
        name = local(child)
        if not path and name == "router-bgp":
            return leaves_of(child)
        keys = {key: child.findtext(f"{{*}}{key}") for key in LIST_KEYS.get(name, [])}
        step = f"{path}/{name}".lstrip("/") + "".join(f"[{key}='{text}']" for key, text in keys.items())
        if local(node) in LIST_KEYS and name in LIST_KEYS[local(node)]:
            continue
        below = leaves_of(child, step)
        found.update(below)
        if keys:
            if not below and TELLING_ENTRY.search(step):
                found[step] = ENTRY
        elif len(child) == 0 and name not in ("bgp",) and not name.startswith("bgp-"):
            found[step] = child.text or SET
    return found


def held_leaves(tree, path=""):
    """The same for the daemon's configuration, whose names already contain the keys."""
    found = {}
    for name, child in tree.items():
        step = f"{path}/{name}".lstrip("/")
        if isinstance(child, dict):
            below = held_leaves(child, step)
            found.update(below)
            if not below and TELLING_ENTRY.search(step):
                found[step] = ENTRY
        else:
            found[step] = SET if child is True else str(child)
    return found


def output_of(node, path=""):
    """An RPC's output: each leaf by its path, with numbered list entries."""
    found, seen = {}, {}
    for child in node.iterchildren(tag=etree.Element):
        name = local(child)
        seen[name] = seen.get(name, 0) + 1
        step = f"{path}/{name}".lstrip("/") + (f"[{seen[name]}]" if len(child) else "")
        found.update(output_of(child, step) if len(child) else {step: child.text or ""})
    return found


# --- Processes ------------------------------------------------------------------------------------


class Process:
    def __init__(self, name, arguments, log):
        self.name = name
        self.log = log
        with open(log, "ab") as out:
            self.child = subprocess.Popen(arguments, stdout=out, stderr=out, stdin=subprocess.DEVNULL)

    def ended(self):
        return self.child.poll() is not None

    def said(self):
        return self.log.read_text(errors="replace")[-2000:]

    def send(self, number):
        self.child.send_signal(number)

    def stop(self, number=signal.SIGTERM):
        self.child.send_signal(signal.SIGCONT)
        self.child.send_signal(number)
        self.child.wait()


class Stage:
    """Each part can be started, stopped and started with other options at any time."""

    def __init__(self, build):
        self.build = pathlib.Path(build).resolve()
        self.work = pathlib.Path(tempfile.mkdtemp(prefix="netconf."))
        self.homes = pathlib.Path(os.environ["NETOPEER2_HOMES"])
        self.daemon = self.host = self.server = None
        self.sessions = {}
        (self.work / "repository").mkdir()
        os.environ.update(
            SYSREPO_REPOSITORY_PATH=str(self.work / "repository"),
            SYSREPO_SHM_PREFIX="netconf",
            SRPD_PLUGINS_PATH=str(self.build / "plugins"),
        )

    # The commands of the document.

    def commands(self, heading):
        block = subprocess.run(
            [PROJECT / "scripts/document-block", PROJECT / "docs/netconf.md", heading],
            check=True, capture_output=True, text=True)
        return block.stdout

    def run(self, command, **more):
        """The output of a command. Raises an exception with the output when the command fails."""
        outcome = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                 cwd=PROJECT, stdin=subprocess.DEVNULL, **more)
        if outcome.returncode != 0:
            raise RuntimeError(f"{command} failed: {outcome.stdout}")
        return outcome.stdout

    def carry_out(self, heading, user="root"):
        return self.run(["bash", "-euc", self.commands(heading)],
                        env={**os.environ, "HOME": str(self.homes / user)})

    # The parts.

    def start_daemon(self, *options):
        before = len(self.events("listening"))
        self.daemon = Process("bgp_configd", ["bgp_configd", "--log", "json", *options], self.work / "daemon.log")
        wait_until(lambda: len(self.events("listening")) > before, self.daemon)

    def restart_daemon(self, *options):
        """Kills the daemon. The host's connection ends with it, so the host starts again as well."""
        self.daemon.stop(signal.SIGKILL)
        self.start_daemon(*options)
        self.restart_host()

    def start_host(self):
        self.host = Process("sysrepo-plugind", ["sysrepo-plugind", "-d", "-v", "1"], self.work / "host.log")
        monitoring = ["sysrepocfg", "-X", "-d", "operational", "-f", "xml", "-m", "sysrepo-monitoring"]
        # The last registration: when sysrepo lists it, all are complete.
        wait_until(lambda: "clear-ip-bgp" in self.run(monitoring), self.host)

    def restart_host(self):
        self.host.stop()
        self.start_host()

    def start_server(self, command):
        """Starts the server with a shell command."""
        self.server = Process("netopeer2-server", ["bash", "-euc", f"exec {command}"], self.work / "server.log")

        def answers():
            with socket.socket() as client:
                return client.connect_ex(("127.0.0.1", 830)) == 0

        wait_until(answers, self.server)

    def restart_server(self, command):
        self.disconnect()
        self.server.stop()
        self.start_server(command)

    # NETCONF.

    def session(self, name="root"):
        """The session of a user; a name such as root-2 means another session of the same user."""
        if name not in self.sessions:
            user = name.split("-")[0]
            self.sessions[name] = manager.connect(
                host="127.0.0.1", port=830, username=user, password="", hostkey_verify=False,
                allow_agent=False, look_for_keys=False,
                key_filename=str(self.homes / user / ".ssh/id_ecdsa"), timeout=120)
        return self.sessions[name]

    def disconnect(self, *names):
        for name in names or list(self.sessions):
            self.sessions.pop(name).close_session()

    # State.

    def events(self, name):
        """The daemon's events of this kind, without a line that is not yet complete."""
        log = self.work / "daemon.log"
        lines = log.read_text().split("\n")[:-1] if log.exists() else []
        return [line for line in lines if f'"event":"{name}"' in line]

    def held(self):
        before = len(self.events("configuration"))
        self.daemon.send(signal.SIGUSR1)
        wait_until(lambda: len(self.events("configuration")) > before, self.daemon)
        return held_leaves(json.loads(self.events("configuration")[-1])["configuration"])

    def stored(self, datastore="running"):
        reply = self.session().get_config(datastore, filter=("subtree", f'<router-bgp xmlns="{MODULE}"/>'))
        return leaves_of(reply.data)

    def said(self):
        """The end of each part's output."""
        parts = [part for part in (self.server, self.host, self.daemon) if part is not None]
        return "\n".join(f"{part.name}, exit code {part.child.poll()}: {part.said()}" for part in parts)

    def close(self):
        for part in (self.server, self.host, self.daemon):
            if part is not None:
                part.stop(signal.SIGKILL)


def told(request):
    """What a client is told: "ok", or the tag, message and path of an error."""
    try:
        request()
    except RPCError as error:
        return error.tag, error.message, error.path
    return "ok"
