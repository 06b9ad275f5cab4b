"""A fabric of switches on one machine, each with its own network, datastore, plug-in host, daemon and bgpd. Run it in
namespaces of its own: it does not clean up."""

import concurrent.futures
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import time

PROJECT = pathlib.Path(__file__).resolve().parents[1]
EXAMPLES = pathlib.Path("examples/leaf-spine-evpn")
ANSIBLE = pathlib.Path("examples/ansible")
BGPD = "/usr/lib/frr/bgpd"
WORK = pathlib.Path("/run/fabric")

LIST_KEYS = {
    "globle-neighbor": ["neighbor-address"],
    "address-family": ["afi", "safi"],
    "family-network": ["prefix"],
    "family-neighbor": ["neighbor-address"],
}


class Failure(Exception):
    """What went wrong, in one sentence."""


def step(text):
    print(f"\n== {text}", flush=True)


def require(condition, text):
    if not condition:
        raise Failure(text)


def output_of(*command, **more):
    """What a command printed. Raises Failure with it if the command fails."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          stdin=subprocess.DEVNULL, **more)
    require(done.returncode == 0, f"{' '.join(map(str, command))}: {done.stdout[-2000:]}")
    return done.stdout


def wait_until(what, condition, seconds=120):
    """The condition's value as soon as that is true."""
    end = time.monotonic() + seconds
    while not (value := condition()):
        require(time.monotonic() < end, f"it takes longer than {seconds} s until {what}")
        time.sleep(0.05)
    return value


# --- Configuration as a set of paths and values --------------------------------------------------


def leaves_of(tree, path=""):
    """The leaves below a node: of sysrepo's JSON, or of what the daemon prints, whose names contain the keys."""
    found = set()
    for name, child in tree.items():
        node = f"{path}/{name}"
        if isinstance(child, dict):
            below = leaves_of(child, node)
            found |= below or ({(node, "")} if re.search(r"network\[[^]]*\]$", name) else set())
        elif isinstance(child, list) and name in LIST_KEYS:
            for entry in child:
                keys = "".join(f"[{key}='{entry.pop(key)}']" for key in LIST_KEYS[name])
                found |= leaves_of({name + keys: entry}, path)
        else:
            found.add((node, "true" if child in (True, [None]) else str(child)))
    return found


def configured(text):
    """The leaves of a configuration in JSON."""
    return leaves_of(json.loads(text).get("orv_bgp:router-bgp", {}))


# What bgpd's configuration contains for a leaf, in which address family. {0} is the last key, {1} the value.
BGPD_FAMILIES = {(): "", ("AFI_IP", "SAFI_UNICAST"): "ipv4 unicast: ", ("AFI_L2VPN", "SAFI_EVPN"): "l2vpn evpn: "}
BGPD_LINES = {
    "as": "router bgp {1}",
    "router-id": "bgp router-id {1}",
    "remote-as": "neighbor {0} remote-as {1}",
    "description": "neighbor {0} description {1}",
    "ebgp-multihop": "neighbor {0} ebgp-multihop {1}",
    "update-source": "neighbor {0} update-source {1}",
    "route-map": "network {0} route-map {1}",
    "activate": "neighbor {0} activate",
}
# The lines that bgpd has for a leaf only: none comes from its defaults.
ONLY_FOR_LEAVES = re.compile(r"(\w+ \w+: )?(network |neighbor \S+ (remote-as |activate$))")


def bgpd_line(path, value):
    *family, key = re.findall(r"='([^']*)'", path) or [""]
    return BGPD_FAMILIES[tuple(family)] + BGPD_LINES.get(path.rsplit("/", 1)[1], "network {0}").format(key, value)


def bgpd_lines(text):
    """The lines of bgpd's configuration, each after the address family that it is in."""
    family, found = "", set()
    for line in map(str.strip, text.splitlines()):
        if line.startswith(("address-family ", "exit-address-family")):
            family = line.partition("address-family ")[2]
        found.add(f"{family}: {line}" if family else line)
    return found


# --- A switch ------------------------------------------------------------------------------------


class Switch:
    # The keepalive interval and the hold time of its sessions, in seconds.
    timers = "1 3"

    def __init__(self, build, name, variables):
        self.build = build
        self.name = name
        self.variables = variables
        self.directory = WORK / name
        self.processes = {}
        self.expected = set()
        self.environment = dict(
            os.environ, SYSREPO_REPOSITORY_PATH=str(self.directory / "repository"), SYSREPO_SHM_PREFIX=f"{name}_",
            SRPD_PLUGINS_PATH=str(build / "plugins"))

    def inside(self, *command):
        return ["nsenter", f"--net=/run/netns/{self.name}", *map(str, command)]

    def run(self, *command):
        return output_of(*self.inside(*command), env=self.environment, cwd=PROJECT)

    def said(self, part):
        log = self.directory / f"{part}.log"
        return log.read_text(errors="replace") if log.exists() else ""

    def start(self, part, what, ready, *command):
        with open(self.directory / f"{part}.log", "ab") as log:
            child = subprocess.Popen(self.inside(*command), stdout=log, stderr=log, stdin=subprocess.DEVNULL,
                                     env=self.environment, cwd=PROJECT)
        self.processes[part] = child

        def is_ready():
            require(child.poll() is None, f"{part} of {self.name} ended: {self.said(part)[-1000:]}")
            return ready()

        wait_until(f"{part} of {self.name} {what}", is_ready)

    def stop(self, part, number=signal.SIGTERM):
        child = self.processes.pop(part)
        child.send_signal(number)
        child.wait()

    # The parts.

    def make_network(self):
        output_of("ip", "netns", "add", self.name)
        self.run("ip", "link", "set", "lo", "up")
        self.run("ip", "address", "add", f"{self.variables['loopback']}/32", "dev", "lo")

    def start_bgpd(self):
        terminal = self.directory / "bgpd.vty"
        terminal.unlink(missing_ok=True)
        (self.directory / "bgpd.conf").write_text("route-map LOOPBACK permit 10\n")
        # Without zebra: it neither needs nor changes the kernel's routes.
        self.start("bgpd", "has a terminal", terminal.exists, BGPD, "-Z", "-S", "-F", "datacenter", "-P", "0",
                   "-f", self.directory / "bgpd.conf", "-i", self.directory / "bgpd.pid",
                   "--vty_socket", self.directory)

    def start_daemon(self):
        lines = [f"timers bgp {self.timers}", "coalesce-time 0"]
        if tenant := self.variables.get("tenant"):
            loopback = self.variables["loopback"]
            lines += ["address-family l2vpn evpn",
                      f"network {tenant} rd {loopback}:1 ethtag 0 label 1000 esi {':'.join(['00'] * 10)} "
                      f"gwip {loopback} routermac 02:00:00:00:00:01", "exit-address-family"]
        before = self.said("bgp_configd").count('"listening"')
        self.start("bgp_configd", "listens", lambda: self.said("bgp_configd").count('"listening"') > before,
                   self.build / "Platform/CONFIG/daemon/bgp_configd", "--log", "json", "--backend", "frr",
                   "--vty-socket", self.directory / "bgpd.vty", *(f"--frr-line={line}" for line in lines))

    def start_host(self):
        self.start("sysrepo-plugind", "has registered", lambda: "clear-ip-bgp" in self.run(
            "sysrepocfg", "-X", "-d", "operational", "-f", "xml", "-m", "sysrepo-monitoring"),
            "sysrepo-plugind", "-d", "-v", "1")

    def orv_bgpctl(self, *arguments):
        """The exit code and the output."""
        done = subprocess.run(self.inside(self.build / "Platform/CONFIG/netconf/tools/orv_bgpctl", *arguments),
                              env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        return done.returncode, done.stdout

    # What it has.

    def ask(self, rpc):
        """The output of an RPC without input, or with the input of an example's file."""
        text = self.run("sysrepocfg", f"--rpc={rpc}", "-m", "orv_bgp", "-f", "json", "-t", "30")
        return next(iter(json.loads(text).values())) if text.strip() else {}

    def neighbors(self):
        """Each neighbor's address with the state of its session."""
        entries = self.ask(EXAMPLES / "rpc-neighbors.json").get("neighbors", {}).get("neighbor", [])
        return {entry["neighbor-addr"]: entry["state"] for entry in entries}

    def learned(self):
        """Each route with the next hops of all its paths: IPv4 prefixes, and EVPN routes as bgpd names them."""
        entries = self.ask(EXAMPLES / "rpc-routes.json").get("bgp-info", {}).get("entry", [])
        found = {f"{entry['network']}/{entry['mask-len']}": [path["next-hop"] for path in entry["next-hop-information"]]
                 for entry in entries}
        for origin in self.ask(EXAMPLES / "rpc-evpn-routes.json").get("list-evpn-route-distinguisher", []):
            for route in origin["list-evpn-route-brief"]:
                found[route["evpn-route"]] = [path["nexthop-address"] for path in route["list-nexthop-brief"]]
        return found

    def announced(self):
        routes = {f"{self.variables['loopback']}/32", *self.variables.get("networks", [])}
        if tenant := self.variables.get("tenant"):
            address, length = tenant.split("/")
            routes.add(f"[5]:[0]:[{length}]:[{address}]")
        return routes

    def stored(self):
        return configured(self.run("sysrepocfg", "-X", "-d", "running", "-f", "json", "-m", "orv_bgp"))

    def held(self):
        def lines():
            return [line for line in self.said("bgp_configd").split("\n")[:-1] if '"configuration"' in line]

        before = len(lines())
        self.processes["bgp_configd"].send_signal(signal.SIGUSR1)
        wait_until(f"the daemon of {self.name} prints its configuration", lambda: len(lines()) > before)
        return leaves_of(json.loads(lines()[-1])["configuration"])

    def bgpd_says(self, command):
        return self.run("vtysh", "--vty_socket", self.directory, "-d", "bgpd", "-c", command)

    def require_same(self):
        """The datastore has what is expected, and the daemon and bgpd have the same."""
        stored = self.stored()
        require(stored == self.expected, f"{self.name}: the datastore differs: {sorted(stored ^ self.expected)}")
        # The module has no EVPN networks: the tenant's comes with the daemon's own lines.
        own = f"[prefix='{self.variables.get('tenant')}']"
        held = {(path, value) for path, value in self.held() if own not in path}
        require(held == stored, f"{self.name}: daemon and datastore differ: {sorted(held ^ stored)}")
        wanted, present = {bgpd_line(*leaf) for leaf in stored}, bgpd_lines(self.bgpd_says("show running-config"))
        require(wanted <= present, f"{self.name}: bgpd does not have {sorted(wanted - present)}")
        own = f"l2vpn evpn: network {self.variables.get('tenant')} "
        surplus = {line for line in present - wanted if ONLY_FOR_LEAVES.match(line) and not line.startswith(own)}
        require(not surplus, f"{self.name}: bgpd has {sorted(surplus)}, which the datastore does not")


# --- The fabric ----------------------------------------------------------------------------------


class Fabric:
    def __init__(self, build, hosts):
        self.hosts = hosts
        self.switches = {name: Switch(build, name, variables) for name, variables in hosts.items()}
        self.leaves = [switch for name, switch in self.switches.items() if name.startswith("leaf")]

    def each(self, act, switches=None):
        """Acts on the switches at once. Raises the first exception."""
        with concurrent.futures.ThreadPoolExecutor(2 * os.cpu_count()) as pool:
            return list(pool.map(act, switches or self.switches.values()))

    def links(self):
        return [(self.switches[peer], leaf) for leaf in self.leaves for peer in leaf.variables["links"]]

    def peers(self, switch):
        """The address of each neighbor of a switch with the neighbor's name and the session's."""
        found = {}
        for peer in switch.variables["links"]:
            found[self.hosts[peer]["links"][switch.name]] = (peer, "underlay")
            found[self.hosts[peer]["loopback"]] = (peer, "overlay")
        return found

    def make_datastores(self, set_up):
        """One datastore, made by shell commands, which each switch gets a copy of."""
        first = next(iter(self.switches.values()))
        for switch in self.switches.values():
            switch.directory.mkdir(parents=True)
        (first.directory / "repository").mkdir()
        first.run("bash", "-euc", set_up)
        for switch in self.switches.values():
            if switch is not first:
                shutil.copytree(first.directory / "repository", switch.directory / "repository")

    def make_links(self):
        self.each(Switch.make_network)
        for spine, leaf in self.links():
            output_of("ip", "-n", spine.name, "link", "add", leaf.name, "type", "veth",
                      "peer", "name", spine.name, "netns", leaf.name)
            for one, other in ((spine, leaf), (leaf, spine)):
                address = one.variables["links"][other.name]
                output_of("ip", "-n", one.name, "address", "add", f"{address}/31", "dev", other.name)
                self.take_up(one, other)

    def take_up(self, one, other):
        """One end of a link, with the route to the other end's loopback."""
        output_of("ip", "-n", one.name, "link", "set", other.name, "up")
        output_of("ip", "-n", one.name, "route", "replace", f"{other.variables['loopback']}/32",
                  "via", other.variables["links"][one.name])

    def start(self):
        def start(switch):
            switch.start_bgpd()
            switch.start_daemon()
            switch.start_host()
        self.each(start)

    def states(self, switches=None):
        """The state of each session end, by switch and neighbor's address, as the switches tell it."""
        switches = switches or list(self.switches.values())
        read = self.each(Switch.neighbors, switches)
        return {(switch.name, address): state.get(address, "none")
                for switch, state in zip(switches, read) for address in self.peers(switch)}

    def wait_for_sessions(self):
        def established():
            states = self.states()
            return set(states.values()) == {"Established"} and states
        return wait_until("all sessions are established", established)

    def is_down(self, spine, leaf):
        """Whether both ends of both sessions on a link are down."""
        states = self.states([spine, leaf])
        return all(states[switch.name, address] != "Established" for switch, other in ((spine, leaf), (leaf, spine))
                   for address, (peer, _) in self.peers(switch).items() if peer == other.name)

    def wait_for_routes(self):
        """Until each leaf has the routes of all other switches."""
        def complete(leaf):
            learned = leaf.learned()
            return all(switch.announced() <= learned.keys() for switch in self.switches.values())
        wait_until("each leaf has all routes", lambda: all(self.each(complete, self.leaves)))

    def draw(self, states, file):
        """Draws the switches and their sessions: green with both ends established, red otherwise."""
        file.write_text(picture(self, states))
        print(f"   {len(states)} session ends, {sum(state == 'Established' for state in states.values())} established: "
              f"{os.path.relpath(file)}")


def picture(fabric, states):
    width, height, box = 500, 430, 400
    rows = [[switch for switch in fabric.switches.values() if (switch in fabric.leaves) == is_leaf]
            for is_leaf in (False, True)]
    place = {switch.name: (column * width + width // 2, 70 if row == 0 else height - 70)
             for row, switches in enumerate(rows) for column, switch in enumerate(switches)}
    colors = {True: "#2e7d32", False: "#b3261e"}
    end = {(switch.name, *peer): states[switch.name, address] == "Established"
           for switch in fabric.switches.values() for address, peer in fabric.peers(switch).items()}
    lines = []
    for spine, leaf in fabric.links():
        (x1, y1), (x2, y2) = place[spine.name], place[leaf.name]
        for shift, kind, dash in ((-6, "underlay", ""), (6, "overlay", ' stroke-dasharray="7 5"')):
            up = end[spine.name, leaf.name, kind] and end[leaf.name, spine.name, kind]
            lines.append(f'<path d="M{x1 + shift} {y1}L{x2 + shift} {y2}" stroke="{colors[up]}" '
                         f'stroke-width="2.5"{dash}/>')
    for switch in fabric.switches.values():
        x, y = place[switch.name]
        lines.append(f'<rect x="{x - box // 2}" y="{y - 60}" width="{box}" height="120" rx="8" fill="#f4f6f8" '
                     f'stroke="#9aa5ad"/><text x="{x}" y="{y - 38}" text-anchor="middle" font-weight="bold">'
                     f'{switch.name}, AS {switch.variables["as"]}, {switch.variables["loopback"]}</text>')
        for row, (address, (peer, kind)) in enumerate(fabric.peers(switch).items()):
            state = states[switch.name, address]
            cells = ((-184, f"{peer}, {kind}", "#22303a"), (-50, address, "#22303a"),
                     (70, state, colors[state == "Established"]))
            lines += [f'<text x="{x + column}" y="{y - 14 + row * 19}" fill="{color}">{text}</text>'
                      for column, text, color in cells]
    size = max(map(len, rows)) * width, height
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{size[0]}" height="{size[1]}" viewBox="0 0 {size[0]} '
            f'{size[1]}">\n<g font-family="Helvetica, Arial, sans-serif" font-size="13" fill="#22303a">\n'
            + "\n".join(lines) + "\n</g></svg>\n")
