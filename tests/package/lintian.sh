#!/bin/sh
# Debian's own check of the packages: any error fails. Nobody has filed a bug that the first version could close.
# usage: lintian.sh FOLDER_OF_PACKAGES
set -eu

lintian --allow-root --fail-on error --suppress-tags initial-upload-closes-no-bugs "$1"/*.deb
