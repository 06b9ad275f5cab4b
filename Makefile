# Each of these sets up the machine first (scripts/install-dependencies).

.PHONY: build run check test proof faults bench fuzz soak coverage mutants package figures format clean

# Builds everything with g++.
build: setup
	cmake --preset release
	cmake --build --preset release

# Shows the plug-in at work on a private datastore; KEEP=1 leaves it running,
# BACKEND=frr manages a real BGP speaker.
run:
	scripts/install-dependencies --for-demo $(if $(filter frr,$(BACKEND)),--for-frr)
	cmake --preset demo
	cmake --build --preset demo
	scripts/run-demo$(if $(filter frr,$(BACKEND)),-frr) build/demo $(if $(KEEP),--keep)

# The inner loop: unit, shared-object and daemon tests, format, links, module, exports.
check: setup
	scripts/run-tests check

# All that shows behaviour, the plug-in under sanitizers, and a big-endian machine.
test:
	scripts/install-dependencies --for-tests
	scripts/run-tests test

# What takes longer: second machines, valgrind, threads, static analysis, packages, a soak, fuzzing.
# REQUIRE_ALL=1 takes for a failure what this machine lacks the means to run, here and in `test`.
proof:
	scripts/install-dependencies --for-proof
	scripts/run-tests proof

# Lets things go wrong outside the plug-in and prints for each what the client saw
# of it and what survived.
faults: build
	build/release/tests/datastore_test --gtest_filter='*Faults*' --gtest_brief=1

# What the plug-in adds, beside floors that do only what cannot be avoided.
bench: build
	scripts/install-dependencies --for-figures
	scripts/bench build/release

# Fuzzes each target for SECONDS, or those in TARGETS; a later run goes on from there.
fuzz: setup
	scripts/fuzz build/fuzz $(or $(SECONDS),60) $(TARGETS)

# Builds the Debian packages into build/packages.
package: setup
	scripts/install-dependencies --for-proof
	scripts/build-package build/packages

# Which lines and branches of the plug-in the unit tests reach.
coverage: setup
	scripts/install-dependencies --for-coverage
	scripts/coverage

# Breaks the plug-in, one place at a time, and says which breaks no unit test notices.
mutants: build
	scripts/mutants build/release $(MUTANTS_OPTIONS)

# Random edits and calls for MINUTES, 30 without it; SEED=n repeats the edits of a run.
soak: build
	build/release/tests/soak/bgp_soak --minutes $(or $(MINUTES),30) $(if $(SEED),--seed $(SEED))

# Draws the documents' figures anew.
figures: setup
	scripts/install-dependencies --for-figures
	scripts/draw-figures

format:
	scripts/check-format --fix

clean:
	rm -rf build

.PHONY: setup
setup:
	scripts/install-dependencies
