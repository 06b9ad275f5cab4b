# Each of these sets up the machine first (scripts/install-dependencies).

.PHONY: build run test faults bench fuzz soak coverage package figures format clean

# Builds everything with g++.
build: setup
	cmake --preset release
	cmake --build --preset release

# Shows the plug-in at work on a private datastore; KEEP=1 leaves it running,
# BACKEND=frr manages a real BGP speaker.
run: build
	scripts/run-demo$(if $(filter frr,$(BACKEND)),-frr) build/release $(if $(KEEP),--keep)

# Builds with g++ and, under its sanitizers, with clang, then runs every test; the
# unit tests also under the sanitizers of g++, on emulated big-endian targets and
# under valgrind.
test: build
	cmake --preset sanitize
	cmake --build --preset sanitize
	ctest --preset sanitize
	cmake --preset sanitize-gcc
	cmake --build --preset sanitize-gcc
	ctest --preset sanitize-gcc
	scripts/install-dependencies --for-tests
	scripts/test-big-endian s390x powerpc
	ctest --preset release

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
	scripts/install-dependencies --for-tests
	scripts/build-package build/packages

# Which lines and branches of the plug-in the unit tests reach.
coverage: setup
	scripts/install-dependencies --for-tests
	scripts/coverage

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
