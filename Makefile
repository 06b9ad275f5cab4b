# Each target first installs the packages that it needs (scripts/install-dependencies).

.PHONY: build run check test proof faults bench fuzz soak coverage mutants package figures wire format clean

# Builds everything with g++.
build: setup
	cmake --preset release
	cmake --build --preset release

# Runs the demonstration on a private datastore; KEEP=1 keeps it running,
# BACKEND=frr manages a real BGP speaker, NETCONF=1 edits through a NETCONF server (docs/netconf.md).
# FABRIC=1 runs four switches instead, with Ansible if there is a NETCONF server (docs/fabric.md).
run: frr := $(or $(filter frr,$(BACKEND)),$(FABRIC))
run: ansible := $(if $(FABRIC),$(NETOPEER2_PREFIX)$(NETOPEER2_SOURCES)$(shell command -v netopeer2-server))
run:
	$(if $(filter-out memory frr,$(BACKEND)),$(error BACKEND=$(BACKEND) is unknown; BACKEND is memory or frr))
	$(if $(and $(NETCONF),$(KEEP)$(BACKEND)),$(error NETCONF=1 cannot be combined with KEEP or BACKEND))
	$(if $(and $(FABRIC),$(KEEP)$(BACKEND)$(NETCONF)),$(error FABRIC=1 cannot be combined with KEEP, BACKEND or NETCONF))
	scripts/install-dependencies --for-demo $(if $(frr),--for-frr) $(if $(NETCONF)$(ansible),--for-netconf) \
	  $(if $(FABRIC),--for-fabric) $(if $(ansible),--for-ansible)
	cmake --preset demo -D BACKEND_FRR=$(if $(frr),ON,OFF)
	cmake --build --preset demo
ifdef FABRIC
	scripts/run-fabric build/demo $(if $(ansible),--ansible)
else
	scripts/run-demo$(if $(frr),-frr) build/demo $(if $(KEEP),--keep) $(if $(NETCONF),--netconf)
endif

# For every change: unit, shared-object and daemon tests, format, links, module, exports.
check: setup
	scripts/run-tests check

# Tests all behavior, also with sanitizers and on an emulated big-endian machine.
test:
	scripts/install-dependencies --for-tests
	scripts/run-tests test

# The longer tests: second machines, valgrind, threads, static analysis, packages, a soak, fuzzing.
# With REQUIRE_ALL=1 a group that this machine cannot run is a failure, here and in `test`.
proof:
	scripts/install-dependencies --for-proof
	scripts/run-tests proof

# Breaks things outside the plug-in and prints for each fault what the client saw and
# what survived.
faults: build
	build/release/tests/datastore_test --gtest_filter='*Faults*' --gtest_brief=1

# Measures what the plug-in adds to the work that cannot be avoided.
bench:
	scripts/install-dependencies --for-figures
	$(MAKE) build
	scripts/bench build/release

# Fuzzes each target, or those in TARGETS, for SECONDS; a later run continues there.
fuzz:
	scripts/install-dependencies --for-tests
	scripts/fuzz build/fuzz $(or $(SECONDS),60) $(TARGETS)

# Builds the Debian packages into build/packages.
package: setup
	scripts/install-dependencies --for-packages
	scripts/build-package build/packages

# Measures which lines and branches of the plug-in the tests without a datastore reach.
coverage: setup
	scripts/install-dependencies --for-coverage
	scripts/coverage

# Breaks the plug-in in 120 places, one at a time, and prints which breaks no unit test notices.
mutants: build
	scripts/mutants build/release $(MUTANTS_OPTIONS)

# Random edits and RPCs for MINUTES, 30 by default, of CLIENTS, 4 by default; SEED=n repeats the
# edits of a run, PICTURE=FILE draws memory and times into an SVG file.
soak: build
	$(if $(PICTURE),scripts/install-dependencies --for-figures)
	build/release/tests/soak/bgp_soak --minutes $(or $(MINUTES),30) --clients $(or $(CLIENTS),4) $(if $(SEED),--seed $(SEED)) $(if $(PICTURE),--picture $(PICTURE))

# Draws the figures of the documents; DEMO=FILE draws the demonstration from its output, too.
figures: setup
	scripts/install-dependencies --for-figures --for-tests
	scripts/draw-figures $(DEMO)

# Updates the tables of the dissector and of docs/protocol.md from the records in the headers.
wire: setup
	cmake --preset release
	cmake --build --preset release --target wire_tables
	build/release/Platform/CONFIG/daemon/wire/wire_tables .

format: setup
	scripts/check-format --fix

clean:
	rm -rf build

.PHONY: setup
setup:
	scripts/install-dependencies
