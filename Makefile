# The two commands: `make run` starts Numbrel, `make test` builds and passes every test.
# Both install what is missing first.

CLI := build/dev/src/cli/numbrel-cli
APP := build/dev/src/app/numbrel

.PHONY: all deps build run test test-dev test-asan bench package install format clean

all: build

deps:
	@./scripts/install-deps

build: deps
	@cmake --preset dev >/dev/null
	@cmake --build --preset dev

run: build
	@$(APP)

test: deps test-dev test-asan

test-dev:
	@cmake --preset dev >/dev/null
	@cmake --build --preset dev
	@ctest --preset dev

test-asan:
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan
	@ctest --preset asan

bench: build
	@./scripts/install-deps bench
	@for b in build/dev/bench/bench_*; do [ -x "$$b" ] && "$$b"; done
	@python3 bench/transfer_server.py build/dev

# The Debian package build/numbrel_VERSION_amd64.deb, checked by lintian.
package: build
	@cd build/dev && cpack -G DEB -B ../package >/dev/null
	@cp build/package/numbrel_*_amd64.deb build/
	@lintian --fail-on error build/numbrel_*_amd64.deb 2>/dev/null
	@ls build/numbrel_*_amd64.deb

# Installs into PREFIX (default /usr/local) without a package.
install: build
	@cmake --install build/dev --prefix "$${PREFIX:-/usr/local}"

format:
	@{ git ls-files; git ls-files --others --exclude-standard; } | grep -E '\.(cpp|h)$$' | xargs clang-format -i

clean:
	@rm -rf build
