# Thin wrapper around CMake.  `make check` is what CI runs.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
# A compiler given on the command line (`make check CXX=clang++`) is handed
# to CMake; clang builds in a folder of its own, beside the g++ one.
ifneq ($(origin CXX),default)
  CMAKE_CXX := -DCMAKE_CXX_COMPILER=$(CXX)
  ifneq ($(findstring clang,$(notdir $(CXX))),)
    BUILD ?= build-clang
  endif
endif
BUILD ?= build
CMAKE_FLAGS ?=
FUZZ_SECONDS ?= 60
FUZZ_TARGETS ?= timecode_fuzz dpx_header_fuzz wildcard_fuzz path_fuzz xml_fuzz

.PHONY: all build check check32 faults asan demo fuzz bench format install clean

all: build

build:
	cmake -S . -B $(BUILD) $(CMAKE_CXX) $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j $(JOBS)

check: build
	cd $(BUILD) && ctest --output-on-failure --no-tests=error -j $(JOBS)

# The system's own target, 32-bit x86, built and tested on this machine.
check32:
	bash .ci/need.sh g++-multilib googletest
	$(MAKE) check BUILD=build-i386 CMAKE_FLAGS="-DLU_M32=ON"

# chronex under injected system-call failures (needs strace).
faults:
	bash .ci/need.sh strace
	cmake -S . -B $(BUILD) $(CMAKE_CXX) $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j $(JOBS) --target chronex chronex_make_sample \
	  chronex_slow_close
	tools/dpx-timecode-patch/faults_test.sh $(BUILD)

asan:
	$(MAKE) check BUILD=build-asan CMAKE_FLAGS="-DLU_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug"

demo:
	cmake -S . -B $(BUILD) $(CMAKE_CXX) $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j $(JOBS) --target chronex chronex_make_sample
	tools/dpx-timecode-patch/demo.sh $(BUILD)

bench:
	cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DLU_BENCH=ON -DLU_TESTS=OFF
	cmake --build build-bench -j $(JOBS)
	for b in build-bench/bench/*_bench; do echo "== $$b"; $$b || exit 1; done

fuzz:
	cmake -S . -B build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DLU_FUZZ=ON -DLU_TESTS=OFF \
	  -DCMAKE_CXX_FLAGS="-fsanitize=address,undefined,fuzzer-no-link -fno-omit-frame-pointer"
	cmake --build build-fuzz -j $(JOBS)
	# Seeds: real DPX files, in both byte orders, take the header target past
	# its size and magic checks at once.
	rm -rf build-fuzz/seeds
	mkdir -p $(addprefix build-fuzz/seeds/,$(FUZZ_TARGETS))
	build-fuzz/tools/dpx-timecode-patch/chronex_make_sample \
	  build-fuzz/seeds/dpx_header_fuzz -n 2 -w 8 -h 8 >/dev/null
	printf XPDS | dd of=build-fuzz/seeds/dpx_header_fuzz/plate.0002.dpx \
	  conv=notrunc status=none
	for t in $(FUZZ_TARGETS); do \
	  mkdir -p build-fuzz/corpus/$$t; \
	  echo "== $$t ($(FUZZ_SECONDS) s)"; \
	  build-fuzz/fuzz/$$t -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 \
	    build-fuzz/corpus/$$t build-fuzz/seeds/$$t || exit 1; \
	done

install: build
	cmake --install $(BUILD) $(if $(PREFIX),--prefix $(PREFIX),)

# $(BUILD)/chronex_<version>_<arch>.deb: the program and its manual page.
.PHONY: package
package: build
	cd $(BUILD) && cpack -G DEB

format:
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build build-clang build-i386 build-asan build-bench build-fuzz
