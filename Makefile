# The front door: every target first makes sure the machine has what it needs.
#   make demo   the library's main job on a bundled example
#   make test   build everything under ASan/UBSan and run every test
#   make bench  peer benchmarks (about 10 MB of XML); bench-large: about 100 MB;
#               bench-huge: about 850 MB, the largest whose database fits the 2 GiB heap
#               (the peers need several GB of memory)
#   make fuzz   build and run each fuzz harness (FUZZ_SECONDS each, default 60)
#   make format format the sources with .clang-format
BUILD ?= build
JOBS ?= 2
FUZZ_SECONDS ?= 60

.PHONY: all bootstrap configure build demo test bench bench-large bench-huge fuzz format clean

all: build

bootstrap:
	@scripts/bootstrap

configure: bootstrap
	@cmake -S . -B $(BUILD)/test -DQMDB_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug \
	  -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" >/dev/null

build: configure
	@cmake --build $(BUILD)/test -j$(JOBS)

demo: build
	@scripts/demo $(BUILD)/test

test: bootstrap
	@scripts/test $(BUILD)

bench: bootstrap
	@scripts/bench $(BUILD)/release small

bench-large: bootstrap
	@scripts/bench $(BUILD)/release large

bench-huge: bootstrap
	@scripts/bench $(BUILD)/release huge

fuzz: bootstrap
	@scripts/fuzz $(BUILD)/fuzz $(FUZZ_SECONDS)

format:
	@clang-format -i $$(git ls-files '*.cpp' '*.h' '*.c' Qmdb/Qmdb)

clean:
	rm -rf $(BUILD)
