# The commands of this project. `make demo` and `make test` are the two that a newcomer needs.
export CCACHE_DIR ?= $(CURDIR)/build/.ccache
JOBS ?= 2

.PHONY: build test check format lint clean setup

build: ## Build build/halvo
	@tools/setup/install-dependencies --build
	@cmake --preset release -DHALVO_TESTS=OFF >/dev/null
	@cmake --build --preset release -j $(JOBS)

test: ## Install what is missing, build, run every test
	@tools/setup/install-dependencies
	@cmake --preset release -DHALVO_TESTS=ON >/dev/null
	@cmake --build --preset release -j $(JOBS)
	@ctest --test-dir build --output-on-failure -j $(JOBS)

check: ## The tests under the address and undefined-behaviour sanitizers
	@tools/setup/install-dependencies
	@cmake --preset debug >/dev/null
	@cmake --build --preset debug -j $(JOBS)
	@ctest --test-dir build/debug --output-on-failure -j $(JOBS)

format: ## Lay out the code
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

lint: ## Check layout and run clang-tidy
	@git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror
	@cmake --preset debug >/dev/null
	@run-clang-tidy -quiet -p build/debug -j $(JOBS) '(src|tools)/.*\.cpp'

clean:
	@rm -rf build
