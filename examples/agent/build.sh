#!/bin/sh
# The same with pkg-config: build.sh [FOLDER], the folder for program and runtime tree ("." by default).
# Installed elsewhere than in /usr, the library is found through PKG_CONFIG_PATH=LIBDIR/pkgconfig.
set -eu

source=$(dirname "$0")
folder=${1-.}
mkdir -p "$folder/tree"
# --static, because the library is: it brings what the library itself needs.
flags=$(pkg-config --cflags --libs --static hostmetrics)
# shellcheck disable=SC2086 # a list of words
${CXX-c++} -std=c++20 -O2 -o "$folder/agent" "$source/agent.cpp" $flags

# A runtime tree of its own, which it may write to; -L, since data folders may be links.
cp -RL "$(pkg-config --variable=runtimedir hostmetrics)/." "$folder/tree"
