# Entry points for people and CI. Everything goes through CMake presets.
.PHONY: all bootstrap build run install package package-check test coverage lint interop fuzz format benchmarks clean

all: build

bootstrap:
	@scripts/bootstrap

build: bootstrap
	cmake --preset release
	cmake --build --preset release

run: build
	./build/release/bin/limitra

# Into /usr/local, or wherever PREFIX says; DESTDIR is honoured.
PREFIX ?= /usr/local
install: build
	cmake --install build/release --prefix "$(PREFIX)"

# The Debian package, build/release/limitra_<version>_<arch>.deb.
package: build
	cmake --build --preset release --target package

# Builds the package from the test build and checks its contents, Depends and
# lintian's verdict.
package-check: bootstrap
	cmake --preset test
	cmake --build --preset test
	ctest --preset package

test: bootstrap
	cmake --preset test
	cmake --build --preset test
	ctest --preset test

# clang-tidy (.clang-tidy) and clazy on the product code; any finding fails.
lint: bootstrap
	cmake --preset test
	cmake --build --preset test
	scripts/check-tidy build/test

# Line and branch coverage of the product code (not tests, benchmarks or fuzz
# targets) by the test suite.
coverage: bootstrap
	cmake --preset coverage
	cmake --build --preset coverage
	find build/coverage -name '*.gcda' -delete
	ctest --preset coverage
	gcovr --root . --filter '^(app|collectors|model|storage|system|ui)/' --print-summary \
	    --exclude-unreachable-branches --exclude-throw-branches build/coverage

# Against the real codex and claude CLIs, installed at pinned versions.
interop: bootstrap
	cmake --preset test
	cmake --build --preset test
	LIMITRA_INTEROP_CODEX="$$(scripts/install-interop-clis codex)" \
	LIMITRA_INTEROP_CLAUDE="$$(scripts/install-interop-clis claude)" \
	    ctest --preset interop

# libFuzzer targets of the core, FUZZ_SECONDS each.
FUZZ_SECONDS ?= 60
fuzz: bootstrap
	scripts/run-fuzzers $(FUZZ_SECONDS)

format:
	scripts/check-format --fix

benchmarks: build
	benchmarks/statusline
	benchmarks/codex-session
	benchmarks/archive
	benchmarks/settings-race
	benchmarks/history
	benchmarks/desktop
	benchmarks/forecast-cost
	benchmarks/forecast

clean:
	rm -rf build
