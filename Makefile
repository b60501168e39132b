# Thin: each target calls a script, cmake or ctest.
.PHONY: help deps build run test bench wm-matrix pictures lint format clean

JOBS ?= $(shell nproc)

help:
	@echo "make run [PRACTICE=1]  install, build, and do the main job"
	@echo "make test              install, build, and run every test"
	@echo "make build             build/release/velmo"
	@echo "make bench             run the benchmarks"
	@echo "make wm-matrix         try the panel on seven window managers"
	@echo "make pictures          make the pictures of docs/images anew"
	@echo "make lint | format     check, or mend, the style of the code"
	@echo "make clean             remove build/"

deps:
	@scripts/install-packages

build: deps
	@cmake --preset release
	@cmake --build --preset release --parallel $(JOBS) --target velmo velmo-practice velmo-desk

run: build
	@PRACTICE=$(PRACTICE) scripts/run

test: deps
	@cmake --preset dev
	@cmake --build --preset dev --parallel $(JOBS)
	@scripts/test dev $(JOBS)

bench: deps
	@scripts/install-packages scripts/packages-bench.txt
	@cmake --preset bench
	@cmake --build --preset bench --parallel $(JOBS) --target velmo_bench
	@build/bench/bench/velmo_bench

wm-matrix: deps
	@scripts/install-packages scripts/packages-wm.txt
	@cmake --preset dev
	@cmake --build --preset dev --parallel $(JOBS) --target velmo_panel_desk_tests
	@scripts/wm-matrix build/dev/tests/e2e/velmo_panel_desk_tests

pictures: build
	@cmake --build --preset release --parallel $(JOBS) --target velmo-pictures
	@scripts/pictures build/release

lint: deps
	@scripts/lint

format: deps
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	@rm -rf build run-output
