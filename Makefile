# Mosaro: `make run` installs what is missing, builds and runs; `make test` builds and runs every test.
JOBS ?= $(shell nproc)
BUILD_TYPE ?= RelWithDebInfo
# Seconds each fuzz target runs in `make fuzz` (CI: FUZZ_SECONDS=20).
FUZZ_SECONDS ?= 60

.PHONY: deps build build-asan build-fuzz fuzz run test test-unit test-asan test-desktops lint lint-ci format graph bench clean package package-check

deps:
	@scripts/install-deps.sh

build: deps
	@cmake -S . -B build -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) >/dev/null
	@cmake --build build -j $(JOBS)

build-asan: deps
	@cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DMOSARO_SANITIZE=ON >/dev/null
	@cmake --build build-asan -j $(JOBS)

# The fuzz targets and only the libraries they need, with clang, libFuzzer, ASan and UBSan.
build-fuzz: deps
	@cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ -DMOSARO_FUZZ=ON \
	  -DMOSARO_WERROR=OFF -DMOSARO_X11_TESTS=OFF >/dev/null
	@cmake --build build-fuzz -j $(JOBS) --target mosaro_fuzzers

fuzz: build-fuzz
	@scripts/fuzz.sh $(FUZZ_SECONDS)

run: build
	@scripts/run.sh

# Unit tests and the Wayland integration tests (a headless sway each) in the normal build;
# everything else, X server integration tests included, under the sanitizers (they find more
# there); the lint pass on what changed since the previous commit.
# Of the desktop matrix CI runs openbox, xfwm4, icewm and i3; `make test-desktops` runs all.
# Both builds replay the fuzz corpus as ordinary tests, and every fuzzer then runs 20 s of its own.
test: build build-asan
	@cd build && ctest --output-on-failure -j $(JOBS) -LE x11
	@cd build-asan && ASAN_OPTIONS=detect_leaks=1 LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp:print_suppressions=0 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ctest --output-on-failure -j $(JOBS) -E '^MoreDesktops/' -LE wayland
	@$(MAKE) --no-print-directory package-check
	@$(MAKE) --no-print-directory fuzz FUZZ_SECONDS=20
	@$(MAKE) --no-print-directory lint-ci

# The whole desktop matrix: every window manager, client and scenario.
test-desktops: build
	@cd build && ctest --output-on-failure -R 'Desktops/'

test-unit: build
	@cd build && ctest --output-on-failure -j $(JOBS) -LE 'x11|wayland'

# The Debian package in build/package/, and lintian's verdict on it (errors fail).
package: build
	@rm -f build/package/mosaro_*.deb
	@cd build && cpack -G DEB >/dev/null
	@ls build/package/mosaro_*.deb

# lintian's verdict, then the package installed with apt and run in the Debian 13 root.
package-check: package
	@lintian --fail-on error build/package/mosaro_*.deb && echo "lintian: no errors"
	@tests/Install/check_package_in_root.sh build/package/mosaro_*.deb

lint: build
	@scripts/lint.sh

lint-ci: build
	@scripts/lint.sh --since HEAD~1

format:
	@git ls-files -- 'src/*' 'tests/*' 'bench/*' 'demo/*' | grep -E '\.(cpp|h)$$' | xargs clang-format -i

graph: build
	@scripts/architecture-graph.sh

# The overlay measured from outside on private X servers: BENCH_WM picks the window manager,
# BENCH_COMPOSITOR "both", "none" or "xcompmgr". Figures land in build/bench/ (results.md, the
# plot); bench/results.md keeps a commented run. Then the same on a headless KWin (the channel into
# its scripts, and the real Mosaro against the script's bare frame write) and a headless sway.
BENCH_WM ?= openbox
BENCH_COMPOSITOR ?= both
bench: build
	@build/bench/core_bench
	@build/bench/mosaro_bench --wm $(BENCH_WM) --compositor $(BENCH_COMPOSITOR) \
		--out build/bench/results.md --plot-data build/bench/screen-size.dat
	@bench/plot.sh build/bench/screen-size.dat build/bench/screen-size.png
	@tests/wayland/kwin/kwin-session.sh --client build/wayland-clients/mosaro_kwin_client -- build/bench/kwin_scripts_bench
	@build/bench/sway_bench
	@build/bench/gnome_bench
	@if [ -x build/wayland-root/trixie/usr/bin/gnome-shell ]; then build/bench/gnome_bench --root; fi

clean:
	rm -rf build build-asan build-fuzz
