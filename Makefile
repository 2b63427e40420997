# A thin front for the presets (CMakePresets.json) and the scripts. Every target installs what it needs and can be run on a fresh machine.
PREFIX ?= /usr/local
FUZZ_SECONDS ?= 30
BENCH_SCALE ?= 1
BENCH_ROUNDS ?= 5
BENCH_ROWS ?=
JOBS ?= $(shell nproc)

CONFIGURE = cmake --preset
CTEST = ctest --output-on-failure --no-tests=error -j$(JOBS)

.PHONY: build demo test windows check asan tsan fuzz bench strangers install deb

build:
	scripts/install-dependencies build test
	$(CONFIGURE) release >/dev/null
	cmake --build build/release -j$(JOBS)

demo:
	scripts/install-dependencies build demo
	$(CONFIGURE) release >/dev/null
	cmake --build build/release -j$(JOBS) --target programs
	scripts/demo

# The seed corpora of the fuzz targets run under the sanitizers first, then everything else in the build that people get.
test: build
	$(CONFIGURE) asan >/dev/null
	cmake --build build/asan -j$(JOBS) --target fuzz_targets
	$(CTEST) --test-dir build/asan -L fuzz
	$(CTEST) --test-dir build/release

windows:
	scripts/install-dependencies build test windows
	$(CONFIGURE) windows >/dev/null
	cmake --build build/windows -j$(JOBS)
	cd build/windows && cpack

# build/release/tovlark_<version>_<architecture>.deb; scripts/test-deb tries it.
deb:
	scripts/install-dependencies build deb
	$(CONFIGURE) release >/dev/null
	cmake --build build/release -j$(JOBS) --target programs
	cd build/release && cpack

check: build
	scripts/install-dependencies check
	scripts/check

asan tsan:
	scripts/install-dependencies build test
	$(CONFIGURE) $@ >/dev/null
	cmake --build build/$@ -j$(JOBS)
	$(CTEST) --test-dir build/$@

fuzz:
	scripts/install-dependencies build test fuzz
	$(CONFIGURE) fuzz >/dev/null
	cmake --build build/fuzz -j$(JOBS) --target fuzz_targets
	scripts/fuzz $(FUZZ_SECONDS)

# A smaller scale shrinks every tree; BENCH_ROWS names some rows only (bench/run.py --help lists them).
bench:
	scripts/install-dependencies build bench
	$(CONFIGURE) release >/dev/null
	cmake --build build/release -j$(JOBS) --target programs drive_bench
	bench/run.py --scale $(BENCH_SCALE) --rounds $(BENCH_ROUNDS) $(BENCH_ROWS)

# Every foreign program on every simulated medium that it knows (docs/simulated-drives.md).
strangers:
	scripts/install-dependencies build test
	$(CONFIGURE) release >/dev/null
	cmake --build build/release -j$(JOBS) --target with_drive
	scripts/strangers

install: build
	cmake --install build/release --prefix $(PREFIX) --strip
