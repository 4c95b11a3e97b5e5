#!/usr/bin/env bash
# Installs the Python component into a scratch prefix at the place the
# interpreter's site-packages has below /usr/local, and imports kor from
# there, away from the source and build trees.
set -euo pipefail
build=$1
python=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --component python --prefix "$work/prefix" >/dev/null
site=$("$python" -c 'import sysconfig; print(sysconfig.get_path("platlib"))')
target="$work/prefix/${site#/usr/local/}"
test -f "$target/kor/__init__.py"
cd "$work"
out=$(PYTHONPATH="$target" "$python" -c 'import kor; assert kor.__file__.startswith("'"$work"'"); print(kor.eval("2+3*4"))')
echo "installed kor printed: $out"
[ "$out" = "14.0" ]
