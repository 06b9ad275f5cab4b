# Each of these sets up the machine first (scripts/install-dependencies).

.PHONY: build run test bench fuzz format clean faults package

# Builds everything with g++.
build: setup
	cmake --preset release
	cmake --build --preset release

# Shows the plug-in at work on a private datastore; KEEP=1 leaves it running.
run: build
	scripts/run-demo build/release $(if $(KEEP),--keep)

# Builds with g++ and with clang, then runs every test; the unit tests also, built
# by clang, under sanitizers and on an emulated big-endian target.
test: build
	cmake --preset clang
	cmake --build --preset clang --target orv_bgp_plugin bgp_configd daemon_test datastore_test
	cmake --preset sanitize
	cmake --build --preset sanitize
	ctest --preset sanitize
	scripts/install-dependencies --for-tests
	scripts/test-big-endian s390x
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

format:
	scripts/check-format --fix

clean:
	rm -rf build

.PHONY: setup
setup:
	scripts/install-dependencies
