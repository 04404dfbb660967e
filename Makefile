# The commands of this project. `make demo` and `make test` are the two that a newcomer needs.
export CCACHE_DIR ?= $(CURDIR)/build/.ccache
JOBS ?= $(shell nproc)
PREFIX ?= /usr/local
FUZZ_SECONDS ?= 60

.PHONY: help demo demo-hosted test build install package check bench fuzz lint format pictures clean

help: ## Show these commands
	@sed -n 's/^\([a-z-]*\):.*## /  make \1\t/p' $(MAKEFILE_LIST) | expand -t 20

demo: ## Install what is missing, build, publish a sample app to a local server
	@tools/setup/install-dependencies
	@$(MAKE) --no-print-directory build
	@tools/demo/run

demo-hosted: ## The same by way of the hosted service, with a stand-in for it on this machine
	@tools/setup/install-dependencies
	@$(MAKE) --no-print-directory build
	@tools/demo/run-hosted

test: ## Install what is missing, build, run every test and every fuzzer for a bounded number of runs
	@tools/setup/install-dependencies
	@cmake --preset release -DHALVO_TESTS=ON >/dev/null
	@cmake --build --preset release -j $(JOBS)
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz -j $(JOBS) --target fuzzers
	@ctest --test-dir build/fuzz -j $(JOBS) --output-on-failure
	@ctest --test-dir build -j $(JOBS) --output-on-failure

build: ## Build build/halvo
	@tools/setup/install-dependencies --build
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS) --target halvo toolbox

install: build ## Install to PREFIX (/usr/local), below DESTDIR
	@cmake --install build --strip --prefix $(PREFIX) >/dev/null

package: build ## Make build/halvo-VERSION.tar.gz with what install would copy
	@rm -rf build/package && DESTDIR=$(CURDIR)/build/package cmake --install build --strip --prefix / >/dev/null
	@tar -C build/package -czf build/halvo-$$(build/halvo --version).tar.gz . && ls build/halvo-*.tar.gz

check: ## The tests under the address and undefined-behaviour sanitizers
	@tools/setup/install-dependencies
	@cmake --preset debug >/dev/null
	@cmake --build --preset debug -j $(JOBS)
	@ctest --test-dir build/debug -j $(JOBS) --output-on-failure

bench: ## Run the benchmarks
	@tools/setup/install-dependencies --bench
	@cmake --preset bench >/dev/null
	@cmake --build --preset bench -j $(JOBS)
	@build/bench/benchmarks/SigningBenchmark
	@build/bench/benchmarks/FeedBenchmark
	@build/bench/benchmarks/DSStoreBenchmark
	@benchmarks/zip/compare
	@benchmarks/disk-image/compare
	@benchmarks/start-up

fuzz: ## Run each fuzzer for FUZZ_SECONDS (60)
	@tools/setup/install-dependencies
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz -j $(JOBS) --target fuzzers
	@set -e; for fuzzer in build/fuzz/fuzzers/*Fuzzer; do \
	    corpus=build/fuzz/corpus/$$(basename $$fuzzer); mkdir -p $$corpus; \
	    $$fuzzer -max_total_time=$(FUZZ_SECONDS) -max_len=65536 -rss_limit_mb=1024 $$corpus; done

format: ## Lay out the code
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

pictures: ## Draw the pictures of README anew
	@tools/setup/install-dependencies --build
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS) --target pictures
	@build/pictures docs/images

lint: ## Check the layout and run clang-tidy
	@git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror
	@cmake --preset debug >/dev/null
	@run-clang-tidy -quiet -p build/debug -j $(JOBS) '(src|tools)/.*\.cpp'

clean: ## Remove what was built
	@rm -rf build
