# Entry points for people and CI. Everything goes through CMake presets.
.PHONY: all bootstrap build run test interop format benchmarks clean

all: build

bootstrap:
	@scripts/bootstrap

build: bootstrap
	cmake --preset release
	cmake --build --preset release

run: build
	./build/release/bin/limitra

test: bootstrap
	cmake --preset test
	cmake --build --preset test
	ctest --preset test

# Against the real codex and claude CLIs, installed at pinned versions.
interop: bootstrap
	cmake --preset test
	cmake --build --preset test
	LIMITRA_INTEROP_CODEX="$$(scripts/install-interop-clis codex)" \
	LIMITRA_INTEROP_CLAUDE="$$(scripts/install-interop-clis claude)" \
	    ctest --preset interop

format:
	scripts/check-format --fix

benchmarks: build
	benchmarks/statusline
	benchmarks/codex-session
	benchmarks/archive

clean:
	rm -rf build
