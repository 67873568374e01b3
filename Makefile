# Entry points for people and CI. Everything goes through CMake presets.
.PHONY: all bootstrap build run test format benchmarks clean

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

format:
	scripts/check-format --fix

benchmarks: build
	benchmarks/statusline

clean:
	rm -rf build
