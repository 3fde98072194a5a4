# The two everyday commands: `make run` and `make test`.
BUILD      ?= build
ASAN_BUILD ?= build-asan
BENCH_BUILD?= build-bench
FUZZ_BUILD ?= build-fuzz
COVERAGE_BUILD ?= build-coverage
JOBS       ?= 2
CMAKE_GEN  := -G Ninja

.PHONY: all deps configure build run test install screenshots asan bench fuzz coverage format clean

all: build

deps:
	@scripts/install-deps

$(BUILD)/build.ninja: | deps
	cmake -S . -B $(BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo

configure: deps $(BUILD)/build.ninja

build: configure
	cmake --build $(BUILD) -j $(JOBS)

# `make run`: a demo folder of generated songs under $(BUILD)/demo, in a home
# of its own under $(BUILD)/demo-home (the user's settings and cache stay
# untouched). With a display (DISPLAY or WAYLAND_DISPLAY) the window opens on
# it, and Begin repairs the songs with no network; without one `fix` repairs
# them in the terminal. `make run DIR=path`: a dry run of `fix` on a real
# folder with the user's own settings; nothing is written.
DIR       ?=
CLI       := $(BUILD)/src/cli/quillbeat-cli
DEMO_DIR  := $(BUILD)/demo
DEMO_HOME := $(abspath $(BUILD))/demo-home
DEMO_HOMES := HOME="$(DEMO_HOME)" XDG_CONFIG_HOME="$(DEMO_HOME)/.config" XDG_CACHE_HOME="$(DEMO_HOME)/.cache" \
  XDG_DATA_HOME="$(DEMO_HOME)/.local/share"
DEMO_ENV  := $(DEMO_HOMES) XDG_RUNTIME_DIR="$(DEMO_HOME)/runtime"
# The window keeps the display's runtime folder and X authority.
WINDOW_ENV := XAUTHORITY="$${XAUTHORITY:-$$HOME/.Xauthority}" $(DEMO_HOMES)
DEMO_RES  := QUILLBEAT_RESOURCES="$(CURDIR)/tools/demo-resources.plist"
HAS_DISPLAY := $(strip $(DISPLAY)$(WAYLAND_DISPLAY))

run: build
ifeq ($(strip $(DIR)),)
	@rm -rf "$(DEMO_DIR)" "$(DEMO_HOME)"
	@mkdir -p -m 700 "$(DEMO_HOME)/runtime"
	@echo "== quillbeat-demo $(DEMO_DIR): songs made by our own tag writers"
	@$(DEMO_ENV) $(BUILD)/tools/quillbeat-demo "$(DEMO_DIR)"
ifneq ($(HAS_DISPLAY),)
	@echo; echo "== quillbeat --folder $(DEMO_DIR): press Begin to repair the songs (no network)"
	@$(WINDOW_ENV) $(DEMO_RES) $(BUILD)/src/app/quillbeat --folder "$(DEMO_DIR)"
else
	@echo; echo "== quillbeat-cli scan --folder $(DEMO_DIR): what the songs lack"
	@$(DEMO_ENV) $(CLI) scan --folder "$(DEMO_DIR)"
	@echo; echo "== quillbeat-cli fix --folder $(DEMO_DIR): repairs from sibling songs, no network"
	@$(DEMO_ENV) $(DEMO_RES) $(CLI) fix --folder "$(DEMO_DIR)"
	@echo; echo "== quillbeat-cli scan --folder $(DEMO_DIR): afterwards"
	@$(DEMO_ENV) $(CLI) scan --folder "$(DEMO_DIR)"
	@echo; echo "A damaged tag is rebuilt with: $(CLI) regenerate FILE"
endif
else
	$(CLI) fix --dry-run --folder "$(DIR)"
endif

# `make screenshots`: the README's pictures of the window, rendered offscreen
# with the Fusion style and a pinned font (docs/screenshots/*.png).
screenshots: build
	$(BUILD)/tools/quillbeat-screenshots docs/screenshots

test: build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

# `make install`: the programs into $(PREFIX)/bin, the manual page and the bash
# completion beside them (~/.local by default; `make install PREFIX=/usr/local`).
PREFIX ?= $(HOME)/.local
install: build
	cmake --install $(BUILD) --prefix "$(PREFIX)"
	@echo "Installed into $(PREFIX): $(PREFIX)/bin/quillbeat-cli (make sure $(PREFIX)/bin is on your PATH)"

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

# `make coverage`: the suite built with gcc's coverage instrumentation and run;
# gcovr prints the line and branch coverage of src/ and writes an HTML report
# to $(COVERAGE_BUILD)/coverage/index.html.
coverage:
	@scripts/install-deps --coverage
	cmake -S . -B $(COVERAGE_BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug \
	  -DCMAKE_CXX_FLAGS="--coverage" -DCMAKE_C_FLAGS="--coverage" -DCMAKE_EXE_LINKER_FLAGS="--coverage"
	cmake --build $(COVERAGE_BUILD) -j $(JOBS)
	find $(COVERAGE_BUILD) -name '*.gcda' -delete
	cd $(COVERAGE_BUILD) && QT_QPA_PLATFORM=offscreen ctest -j $(JOBS) --timeout 600 || true
	mkdir -p $(COVERAGE_BUILD)/coverage
	gcovr --root . --filter 'src/' --exclude-unreachable-branches --exclude-throw-branches \
	  --gcov-ignore-parse-errors --print-summary \
	  --html-details $(COVERAGE_BUILD)/coverage/index.html $(COVERAGE_BUILD)

format:
	find src tests bench fuzz -name '*.h' -o -name '*.cpp' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD) $(FUZZ_BUILD) $(COVERAGE_BUILD)
