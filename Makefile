# The two commands of the README: `make run` and `make test`.
JOBS ?= $(shell nproc)

.PHONY: run test deps build-release build-ci bench clean format format-check

SOURCES = git ls-files '*.h' '*.cpp'

deps:
	@scripts/install-deps

build-release: deps
	cmake --preset release
	cmake --build --preset release -j $(JOBS)

build-ci: deps
	cmake --preset ci
	cmake --build --preset ci -j $(JOBS)

run: build-release
	./build/release/OrrelApp/orrel-sentry $(ARGS)

test: build-ci
	ctest --preset ci -j $(JOBS)

bench: deps
	cmake --preset bench
	cmake --build --preset bench -j $(JOBS)
	@for b in build/bench/bench/*-bench; do echo "== $$b"; $$b; done

format: deps
	$(SOURCES) | xargs clang-format -i

format-check: deps
	$(SOURCES) | xargs clang-format --dry-run --Werror

clean:
	rm -rf build
