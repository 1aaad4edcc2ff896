# Mosaro: `make run` installs what is missing, builds and runs; `make test` builds and runs every test.
JOBS ?= $(shell nproc)
BUILD_TYPE ?= RelWithDebInfo

.PHONY: deps build build-asan run test test-unit test-asan test-desktops lint lint-ci format graph bench clean

deps:
	@scripts/install-deps.sh

build: deps
	@cmake -S . -B build -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) >/dev/null
	@cmake --build build -j $(JOBS)

build-asan: deps
	@cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DMOSARO_SANITIZE=ON >/dev/null
	@cmake --build build-asan -j $(JOBS)

run: build
	@scripts/run.sh

# Unit tests in the normal build; everything, X server integration tests included, under the
# sanitizers (they find more there); the lint pass on what changed since the previous commit.
# Of the desktop matrix CI runs openbox, xfwm4, icewm and i3; `make test-desktops` runs all.
test: build build-asan
	@cd build && ctest --output-on-failure -j $(JOBS) -LE x11
	@cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ctest --output-on-failure -j $(JOBS) -E '^MoreDesktops/'
	@$(MAKE) --no-print-directory lint-ci

# The whole desktop matrix: every window manager, client and scenario.
test-desktops: build
	@cd build && ctest --output-on-failure -R 'Desktops/'

test-unit: build
	@cd build && ctest --output-on-failure -j $(JOBS) -LE x11

lint: build
	@scripts/lint.sh

lint-ci: build
	@scripts/lint.sh --since HEAD~1

format:
	@git ls-files -- 'src/*' 'tests/*' 'bench/*' 'demo/*' | grep -E '\.(cpp|h)$$' | xargs clang-format -i

graph: build
	@scripts/architecture-graph.sh

bench: build
	@for b in build/bench/*; do [ -x "$$b" ] && "$$b"; done

clean:
	rm -rf build build-asan
