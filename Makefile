# The two commands of the README: `make run` and `make test`.
JOBS ?= $(shell nproc)

.PHONY: run demo test test-agents deb deps build-release build-ci build-fuzz fuzz bench soak clean format format-check tidy

SOURCES = git ls-files '*.h' '*.cpp'
# clang-tidy 14 cannot parse libstdc++ 12's <expected>, and neither 14 nor 16 accepts -std=c++23:
# 16 with c++2b does, once told the concepts level libstdc++ checks for before declaring expected.
TIDY_ARGS = -extra-arg=-std=c++2b -extra-arg=-Wno-builtin-macro-redefined \
	-extra-arg=-U__cpp_concepts -extra-arg=-D__cpp_concepts=202002L

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

demo: build-release
	scripts/demo build/release

# The fuzz smoke: every fuzz target over its seeds and a few thousand mutations of them.
test: build-ci build-fuzz
	ctest --preset ci -j $(JOBS)
	ctest --preset fuzz -j $(JOBS)

# clang 16 (Debian's 14 cannot parse libstdc++ 12's <expected>), with libFuzzer and the sanitizers.
build-fuzz: deps
	@scripts/install-deps fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS)

# Each fuzz target for SECONDS, one after another: `make fuzz SECONDS=600`, or only some with
# `make fuzz FUZZ_TARGETS="wire-reply snapshot"`. Findings land in build/fuzz/artifacts/.
SECONDS ?= 60
FUZZ_TARGETS ?=
fuzz: build-fuzz
	fuzz/run build/fuzz $(SECONDS) $(FUZZ_TARGETS)

# The readers and the planned keys against the real agents (scripts/test-agents): opt-in, since it
# needs node and npm and installs the agents under $LAB on first use.
test-agents: deps
	cmake --preset ci
	cmake --build --preset ci -j $(JOBS) --target orrelctl fake-herdr
	scripts/test-agents build/ci

# The Debian package in build/package/, then lintian's verdict on it. It gives no error and no
# warning; of its informational tags, binary-has-unneeded-section .comment remains, because
# CPack strips with plain `strip`, which keeps the compiler's version note.
deb:
	@scripts/install-deps deb
	cmake --preset package
	cmake --build --preset package -j $(JOBS)
	cd build/package && cpack
	lintian --fail-on error,warning build/package/orrel-sentry_*.deb

bench: deps
	cmake --preset bench
	cmake --build --preset bench -j $(JOBS)
	@for b in build/bench/bench/*-bench; do \
		case $$b in *resident-bench) continue;; esac; echo "== $$b"; $$b; done
	@echo "== resident-bench (the application on a private X server)"
	tests/support/desktop-session build/bench/bench/resident-bench build/bench/OrrelApp/orrel-sentry

# The application under churning fake sessions for MINUTES, with the churn drawn from SEED; its
# memory, descriptors, threads and CPU every 10 s, and their slopes.
MINUTES ?= 60
SEED ?= 1
soak: deps
	cmake --preset bench
	cmake --build --preset bench -j $(JOBS) --target orrel-sentry soak
	tests/support/desktop-session build/bench/bench/soak --minutes $(MINUTES) --seed $(SEED) \
		build/bench/OrrelApp/orrel-sentry

format: deps
	$(SOURCES) | xargs clang-format -i

format-check: deps
	$(SOURCES) | xargs clang-format --dry-run --Werror

# Needs only the compile commands and the moc files the sources include, not a full build.
tidy:
	@scripts/install-deps tidy
	cmake --preset ci -DCMAKE_GLOBAL_AUTOGEN_TARGET=ON
	cmake --build --preset ci --target autogen -j $(JOBS)
	run-clang-tidy-16 -p build/ci -quiet -j $(JOBS) $(TIDY_ARGS) '$(CURDIR)/(HerdrClient|OrrelApp|tools|tests)/'

clean:
	rm -rf build
