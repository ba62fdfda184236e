# The front door. CMake is the house behind it; each target installs what it
# needs first (Debian packages by name) and is quick the second time.

PREFIX ?= /usr/local
JOBS ?= $(shell nproc)
PACKAGES = sh cmake/packages.sh

BUILD_PACKAGES = g++ cmake ninja-build nettle-dev libgeos-dev libproj-dev nlohmann-json3-dev libsqlite3-dev unixodbc-dev
# npm fetches a debugger client; that of another Node.js than Debian's does too.
TEST_PACKAGES = $(BUILD_PACKAGES) libgtest-dev sqlite3 postgresql odbc-postgresql $(if $(shell command -v npm 2>/dev/null),,npm)
LINT_PACKAGES = $(TEST_PACKAGES) clang-format clang-tidy
FUZZ_PACKAGES = $(BUILD_PACKAGES) clang libclang-rt-14-dev

EXAMPLE = examples/atlas
RESULTS = build/example-results
FUZZ_SECONDS ?= 60
FUZZ_TARGETS = compile_fuzz stream_fuzz serial_fuzz csv_fuzz geo_fuzz

.PHONY: all run build test asan bench lint format fuzz docs install package clean

all: build

run: build
	@mkdir -p $(RESULTS)
	@cd $(EXAMPLE) && $(CURDIR)/build/bin/qor -cgi -script atlas.qor -results $(CURDIR)/$(RESULTS)
	@cd $(EXAMPLE) && $(CURDIR)/build/bin/qor -cgi -script shares.qor -results $(CURDIR)/$(RESULTS)
	@cd $(EXAMPLE) && $(CURDIR)/build/bin/qor -cgi -script database.qor -results $(CURDIR)/$(RESULTS)
	@cd examples/borders && $(CURDIR)/build/bin/qor -cgi -script borders.qor -results $(CURDIR)/$(RESULTS)

build:
	@$(PACKAGES) $(BUILD_PACKAGES)
	@cmake --preset release -DQOR_TESTS=OFF > build.log 2>&1 || { cat build.log; rm -f build.log; exit 1; }; rm -f build.log
	@cmake --build build -j $(JOBS)

test:
	@$(PACKAGES) $(TEST_PACKAGES)
	@cmake --preset release -DQOR_TESTS=ON
	@cmake --build build -j $(JOBS)
	@ctest --test-dir build --output-on-failure -j $(JOBS)

# The same tests with the address and undefined behaviour sanitizers.
asan:
	@$(PACKAGES) $(TEST_PACKAGES)
	@cmake --preset asan
	@cmake --build build-asan -j $(JOBS)
	@ctest --test-dir build-asan --output-on-failure -j $(JOBS)

bench: build
	@$(PACKAGES) $$(cat bench/packages.txt)
	@sh bench/run.sh build/bin/qor

lint:
	@$(PACKAGES) $(LINT_PACKAGES)
	@git ls-files '*.cpp' '*.hpp' '*.h' '*.c' | xargs clang-format --dry-run -Werror
	@cmake --preset release -DQOR_TESTS=ON
	@git ls-files '*.cpp' | grep -v -e '^tests/' | xargs -P $(JOBS) -n 1 clang-tidy -p build --quiet

format:
	@git ls-files '*.cpp' '*.hpp' '*.h' '*.c' | xargs clang-format -i

# Mutated scripts, streams and objects, the time divided among the targets; what is found
# lands in build-fuzz/findings.
fuzz:
	@$(PACKAGES) $(FUZZ_PACKAGES)
	@cmake --preset fuzz
	@cmake --build build-fuzz -j $(JOBS)
	@mkdir -p build-fuzz/findings
	@for target in $(FUZZ_TARGETS); do \
	    build-fuzz/bin/$$target $$(($(FUZZ_SECONDS) / $(words $(FUZZ_TARGETS)))) tests/scripts build-fuzz/findings || status=1; \
	done; exit $$status

# Regenerates the reference of the built-in methods from the method tables.
docs: build
	@sh docs/generate-methods.sh build/bin/qor > docs/methods.md.new && mv docs/methods.md.new docs/methods.md

install: build
	@cmake --install build --prefix $(PREFIX)

package: build
	@cd build && cpack -G TGZ

clean:
	rm -rf build build-asan build-debug build-fuzz
