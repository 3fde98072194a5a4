# The two everyday commands: `make run` and `make test`.
BUILD      ?= build
ASAN_BUILD ?= build-asan
BENCH_BUILD?= build-bench
FUZZ_BUILD ?= build-fuzz
JOBS       ?= 2
CMAKE_GEN  := -G Ninja

.PHONY: all deps configure build run test asan bench fuzz format clean

all: build

deps:
	@scripts/install-deps

$(BUILD)/build.ninja: | deps
	cmake -S . -B $(BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo

configure: deps $(BUILD)/build.ninja

build: configure
	cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/src/cli/quillbeat-cli --help

test: build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

asan: deps
	cmake -S . -B $(ASAN_BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DQB_SANITIZE=ON
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && QT_QPA_PLATFORM=offscreen ASAN_OPTIONS=detect_leaks=0:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j $(JOBS)

bench:
	@scripts/install-deps --bench
	cmake -S . -B $(BENCH_BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Release -DQB_BUILD_TESTS=OFF -DQB_BUILD_BENCH=ON
	cmake --build $(BENCH_BUILD) -j $(JOBS)
	bench/run-all $(BENCH_BUILD)

fuzz:
	@scripts/install-deps --fuzz
	cmake -S . -B $(FUZZ_BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DQB_BUILD_TESTS=OFF -DQB_FUZZ=ON \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
	cmake --build $(FUZZ_BUILD) -j $(JOBS)

format:
	find src tests bench fuzz -name '*.h' -o -name '*.cpp' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD) $(FUZZ_BUILD)
