# Two commands do all the set-up on a fresh Debian machine:
#   make run   installs what is missing, builds and starts the show
#   make test  installs what is missing, builds and runs every test
BUILD ?= build
TSAN_BUILD ?= build-tsan
PACKAGE_BUILD ?= build-deb
ASAN_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

.PHONY: all deps configure build run test bench tsan asan fuzz pictures install package clean

all: build

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD) $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# SCENE=FILE plays a show or scene file (or a built-in show by name) instead of susuki.
run: build
	@exec $(BUILD)/bin/vexlor $(SCENE)

test: build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

bench: build
	@for b in $(BUILD)/bin/bench_*; do [ -x "$$b" ] && "$$b"; done; true

# ThreadSanitizer build of the threaded code, run on its own tree.
tsan: deps
	@cmake -S . -B $(TSAN_BUILD) -DVEXLOR_TSAN=ON -DVEXLOR_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug >/dev/null
	@cmake --build $(TSAN_BUILD) -j $(JOBS)
	@cd $(TSAN_BUILD) && ctest --output-on-failure -L tsan

# The whole test suite under AddressSanitizer and UndefinedBehaviorSanitizer,
# on its own tree. Leaks inside the system's graphics, sound and bus
# libraries are suppressed by name (tests/support/lsan.supp).
asan: deps
	@cmake -S . -B $(ASAN_BUILD) -DVEXLOR_ASAN=ON -DVEXLOR_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@cd $(ASAN_BUILD) && \
	  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:detect_stack_use_after_return=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/support/lsan.supp:print_suppressions=0 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --output-on-failure -j $(JOBS)

# Every libFuzzer target for FUZZ_SECONDS each, built with clang on its own
# tree; fails when one finds a crash. New inputs and crashes go to
# $(FUZZ_BUILD)/findings/NAME/, never into the committed seed corpora.
fuzz: deps
	@cmake -S . -B $(FUZZ_BUILD) -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DVEXLOR_FUZZ=ON \
	  -DVEXLOR_TESTS=OFF -DVEXLOR_BENCH=OFF >/dev/null
	@cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzzers
	@scripts/run-fuzzers $(FUZZ_BUILD) $(FUZZ_SECONDS)

# The README's pictures, taken by the program tests under Xvfb and a render test.
pictures: build
	@mkdir -p docs
	@cd $(BUILD) && VEXLOR_PICTURES=$(CURDIR)/docs ctest --output-on-failure -R 'program\.(ShowRun|Keys)|NightRender\.APictureOfTheNightLook'

install: build
	@cmake --install $(BUILD)

# The Debian package (vexlor_VERSION_ARCH.deb in $(PACKAGE_BUILD)), from a
# release tree of its own, installed under /usr and built with Debian's
# hardening flags, all of them.
DEBFLAGS = DEB_BUILD_MAINT_OPTIONS=hardening=+all dpkg-buildflags --get
package: deps
	@cmake -S . -B $(PACKAGE_BUILD) -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
	  -DVEXLOR_TESTS=OFF -DVEXLOR_BENCH=OFF \
	  -DCMAKE_C_FLAGS="$$($(DEBFLAGS) CPPFLAGS) $$($(DEBFLAGS) CFLAGS)" \
	  -DCMAKE_CXX_FLAGS="$$($(DEBFLAGS) CPPFLAGS) $$($(DEBFLAGS) CXXFLAGS)" \
	  -DCMAKE_EXE_LINKER_FLAGS="$$($(DEBFLAGS) LDFLAGS)" >/dev/null
	@cmake --build $(PACKAGE_BUILD) -j $(JOBS)
	@cd $(PACKAGE_BUILD) && cpack -G DEB

clean:
	@rm -rf $(BUILD) $(TSAN_BUILD) $(ASAN_BUILD) $(FUZZ_BUILD) $(PACKAGE_BUILD)
