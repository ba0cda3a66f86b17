# The commands that a newcomer needs. Everything is in scripts/ and CMakePresets.json.
.PHONY: run test bench format check clean

run: ; @scripts/run
test: ; @scripts/test
bench: ; @scripts/bench
format: ; @scripts/check-format --fix
check: ; @.ci/run
clean: ; @rm -rf build
