# Two commands do all the set-up on a fresh Debian machine:
#   make run   installs what is missing, builds and starts the show
#   make test  installs what is missing, builds and runs every test
BUILD ?= build
TSAN_BUILD ?= build-tsan
PACKAGE_BUILD ?= build-deb
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

.PHONY: all deps configure build run test bench tsan pictures install package clean

all: build

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD) $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# SCENE=FILE plays a scene file instead of the built-in show.
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

# The README's pictures, taken by the program tests under Xvfb.
pictures: build
	@mkdir -p docs
	@cd $(BUILD) && VEXLOR_PICTURES=$(CURDIR)/docs ctest --output-on-failure -R 'program\.(ShowRun|Keys)'

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
	@rm -rf $(BUILD) $(TSAN_BUILD) $(PACKAGE_BUILD)
