#!/bin/sh
# The program under an editor's debugger client, which is not ours: that of the
# npm package nuclide.
#
#   test.sh QOR FOLDER     FOLDER keeps the packages from run to run
#
# The lock file names the packages that the client's part of nuclide loads. The
# entry of nuclide itself lists none of its many others: write it anew by hand.
set -e
here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$2"
cd "$2"
if ! cmp -s "$here/package-lock.json" installed; then
    cp "$here/package.json" "$here/package-lock.json" .
    npm ci --ignore-scripts --no-audit --no-fund --loglevel=error
    cp package-lock.json installed
fi
NODE_PATH=$PWD/node_modules:$PWD/node_modules/nuclide/modules node "$here/session.js" "$1"
