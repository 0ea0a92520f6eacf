# The project's commands. `make` builds the release library and tools into
# build/release/; `make test` builds a sanitized debug tree into build/debug/ and
# runs the whole suite. Missing Debian packages are installed by
# scripts/install-deps.sh on first use. `make install PREFIX=...` installs
# the release build.
JOBS ?= $(shell nproc)
DEPS := scripts/install-deps.sh
FUZZ_SECONDS ?= 600
PREFIX ?= /usr/local

.PHONY: all release test debug fuzz bench run clean deps install

all: release

deps:
	@bash $(DEPS)

release: deps
	cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DPARVEX_TESTS=OFF -DPARVEX_BENCH=ON
	cmake --build build/release -j $(JOBS)

debug: deps
	cmake -S . -B build/debug -G Ninja -DCMAKE_BUILD_TYPE=Debug -DPARVEX_SANITIZE=ON
	cmake --build build/debug -j $(JOBS)

test: debug
	cd build/debug && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure -j $(JOBS) --timeout 300

# Libraries (libparvex.so.1, libparvex.a), headers, pkg-config file, CMake
# package, the parvex shell and its man page, from the release build.
install: release
	cmake --install build/release --prefix $(PREFIX)

# libFuzzer targets, built with clang. Run one with, for example:
#   build/fuzz/fuzz_parser -max_total_time=$(FUZZ_SECONDS) fuzz/corpus/parser
fuzz: deps
	CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DPARVEX_FUZZ=ON -DPARVEX_TESTS=OFF
	cmake --build build/fuzz -j $(JOBS)

bench: release
	@for b in build/release/bench_*; do echo "== $$b"; $$b; done

run: release
	@test -f demo.pvx || build/release/parvex demo.pvx < tools/parvex/demo.sql
	build/release/parvex demo.pvx

clean:
	rm -rf build
