#!/usr/bin/env bash
# Installs into an empty prefix and uses what is there, from there alone: tests/package/install.sh BUILD. Guards what a
# package is made of, not that the package installs on a bare Debian.
set -euo pipefail
build=$1
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
fail() { echo "package: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$prefix" >"$prefix/install.txt" || fail "$(cat "$prefix/install.txt")"
node "$(dirname "$0")/../../docs/demo.mjs" "$prefix/lib/tavro" >"$prefix/demo.txt" || fail "$(tail -20 "$prefix/demo.txt")"
grep -q 'Nothing has happened yet' "$prefix/demo.txt" || fail "the demo said too little"

export HOME=$prefix/user PATH=$prefix/bin:/usr/bin:/bin
mkdir "$HOME"
"$prefix/bin/tavro" --version | grep -qx 'tavro [0-9.]*' || fail "tavro doesn't start through its link"
[ "$("$prefix/bin/tavro-mcp" </dev/null; echo $?)" = 0 ] || fail "tavro-mcp doesn't start through its link"
found=$(tavro doctor || true)
grep -q "^ok.programs" <<<"$found" || fail "a program or a guide isn't where it should be: $found"

# Every verb that people use stands in its manual.
for verb in $(tavro | sed -n 's/^  \([a-z-]*\) .*/\1/p' | sort -u); do
  zgrep -q "^\.It Cm $verb\b" "$prefix/share/man/man1/tavro.1.gz" || fail "tavro(1) doesn't tell of $verb"
done
zgrep -q '^\.Nm tavro-mcp' "$prefix/share/man/man1/tavro-mcp.1.gz" || fail "tavro-mcp(1) is missing"
bash -n "$prefix/share/bash-completion/completions/tavro" || fail "bash can't read its completions"
for file in share/zsh/vendor-completions/_tavro share/fish/vendor_completions.d/tavro.fish share/doc/tavro/docs/security.md share/doc/tavro/user-guide.md; do
  [ -s "$prefix/$file" ] || fail "$file is missing or empty"
done
echo "installed, and the demo ran from there"
