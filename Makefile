# Mosaro: `make run` installs what is missing, builds and runs; `make test` builds and runs every test.
JOBS ?= $(shell nproc)
BUILD_TYPE ?= RelWithDebInfo
# Seconds each fuzz target runs in `make fuzz` (CI: FUZZ_SECONDS=20).
FUZZ_SECONDS ?= 60

.PHONY: deps build build-asan build-fuzz fuzz run test test-unit test-asan lint lint-ci format graph bench clean

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

# Unit tests in the normal build; everything, X server integration tests included, under the
# sanitizers (they find more there); the lint pass on what changed since the previous commit.
# Both builds replay the fuzz corpus as ordinary tests; the fuzzers themselves run in `make fuzz`.
test: build build-asan
	@cd build && ctest --output-on-failure -j $(JOBS) -LE x11
	@cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ctest --output-on-failure -j $(JOBS)
	@$(MAKE) --no-print-directory lint-ci

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
	rm -rf build build-asan build-fuzz
