#!/usr/bin/env bash
# Installs the ISF reference renderer (npm interactive-shader-format) and a
# bundler into DIR (never the repository), and bundles the renderer with the
# page's entry script into DIR/reference.js. Idempotent: with the bundle in
# place for these versions it returns at once.
set -euo pipefail
dir=${1:?usage: setup_reference.sh DIR}
here=$(cd "$(dirname "$0")" && pwd)
versions="interactive-shader-format@2.9.0 esbuild@0.28.2"
mkdir -p "$dir"
if [ -f "$dir/reference.js" ] && [ "$(cat "$dir/versions" 2>/dev/null)" = "$versions" ] &&
   [ "$dir/reference.js" -nt "$here/reference_entry.js" ]; then
  exit 0
fi
cd "$dir"
[ -f package.json ] || echo '{"name": "glfx-isf-reference", "private": true}' > package.json
npm install --no-audit --no-fund --loglevel=error $versions >/dev/null
cp "$here/reference_page.html" "$here/reference_entry.js" "$dir/"
# The renderer's expression library asks for node's crypto module, which a
# page does not have (it only seeds random numbers with it): an empty one.
echo 'module.exports = {};' > crypto-shim.js
./node_modules/.bin/esbuild reference_entry.js --bundle --format=iife --alias:crypto=./crypto-shim.js \
  --outfile=reference.js --log-level=error
echo "$versions" > "$dir/versions"
