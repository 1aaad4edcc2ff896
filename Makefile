# Mosaro: `make run` installs what is missing, builds and runs; `make test` builds and runs every test.
JOBS ?= $(shell nproc)
BUILD_TYPE ?= RelWithDebInfo

.PHONY: deps build build-asan run test test-asan clean bench

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

test: build build-asan
	@cd build && ctest --output-on-failure -j $(JOBS)
	@cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ctest --output-on-failure -j $(JOBS)

bench: build
	@for b in build/bench/*; do [ -x "$$b" ] && "$$b"; done

clean:
	rm -rf build build-asan
