#!/bin/sh
# Builds the documentation as a site of plain files: docs/build.sh [FOLDER], build/site otherwise. Needs Debian's mkdocs.
set -eu
folder=$(realpath -m "${1:-$(dirname "$0")/../build/site}")
cd "$(dirname "$0")/.."
TESSARON_PAGES=$(mktemp -d)
export TESSARON_PAGES
trap 'rm -r "$TESSARON_PAGES"' EXIT

# The pages in the folders of the sources, where their links hold, with their pictures.
find README.md CHANGELOG.md CONTRIBUTING.md docs examples tools/README.md \( -name work -o -path docs/site \) -prune -o \
  \( -name '*.md' -o -name '*.png' -o -name '*.ipynb' \) -print | while read -r file; do
  mkdir -p "$TESSARON_PAGES/$(dirname "$file")"
  cp "$file" "$TESSARON_PAGES/$file"
done
cp docs/site/search.md "$TESSARON_PAGES"
mkdocs build --quiet --strict --site-dir "$folder"
echo "$folder/index.html"
