# The front door. Every target sets up what it needs: see scripts/setup.

PREFIX ?= /usr/local
DESTDIR ?=
JOBS ?= $(shell nproc)
export JOBS

.PHONY: help build demo check test arm install deb lint sanitize clang perf fuzz coverage valgrind clean

help: ## this list
	@sed -n 's/^\([a-z]*\):.*## \(.*\)/  make \1\t\2/p' Makefile | expand -t 20

build: ## the three programs, in build/release
	@scripts/setup build
	@scripts/build release

demo: ## update a simulated device on a bench and compare what arrived
	@scripts/setup build
	@scripts/build release velmorin velmorin-sim velmorinctl
	@scripts/demo build/release

check: ## the quick loop: build and run the tests in memory
	@scripts/setup build test
	@scripts/build release unit_tests
	@scripts/run-tests build/release -L unit

test: ## everything that proves the program; what CI runs
	@scripts/setup build test
	@scripts/setup --if-possible kernel arm package docs html storage
	@scripts/build release
	@scripts/run-tests build/release

arm: ## static programs for an ARM controller, in build/arm
	@scripts/setup build arm
	@scripts/arm

install: ## the programs, manual pages and an example job file; PREFIX=/usr/local, DESTDIR=
	@scripts/setup build
	@scripts/build release velmorin velmorin-sim velmorinctl
	@DESTDIR=$(DESTDIR) cmake --install build/release --prefix $(PREFIX)

deb: ## Debian packages for this machine and for armhf
	@scripts/setup build arm package
	@scripts/deb

lint: ## formatter, clang-tidy and cppcheck, without findings
	@scripts/setup build test perf lint
	@scripts/lint

sanitize: ## the tests with the address and undefined-behaviour sanitizers
	@scripts/setup build test
	@scripts/setup --if-possible docs html storage
	@scripts/build sanitize
	@scripts/run-tests build/sanitize

clang: ## a build with clang, warnings as errors
	@scripts/setup build test lint
	@scripts/build clang

perf: ## the benchmarks, as a table
	@scripts/setup build test perf
	@scripts/build release
	@scripts/perf build/release

fuzz: ## let the fuzzers make up inputs, SECONDS=60 each
	@scripts/setup build test fuzz
	@scripts/fuzz $(or $(SECONDS),60)

coverage: ## the tests with counters, and what they reach
	@scripts/setup build test coverage
	@scripts/coverage

valgrind: ## a whole job on a bench under valgrind
	@scripts/setup build valgrind
	@scripts/build debug velmorin velmorin-sim
	@scripts/valgrind build/debug

clean: ## remove everything that was built
	rm -rf build
