#!/usr/bin/env bash
# Starts a Redis Cluster and a single Redis, and runs the tests against them:
#   redis_test.sh CLUSTER-SCRIPT TEST [ARGUMENT...]
set -euo pipefail
cluster=$1
shift
work=$(mktemp -d)
finish() {
  local folder
  for folder in "$work"/*/; do "$cluster" stop --dir "$folder"; done
  rmdir "$work"
}
trap finish EXIT
CLUSTER_URL=$("$cluster" start --port 0 --dir "$work/cluster")
PLAIN_URL=$("$cluster" start --plain --port 0 --password geheim --dir "$work/plain")
export CLUSTER_SCRIPT=$cluster CLUSTER_URL CLUSTER_FOLDER=$work/cluster
export PLAIN_URL PLAIN_FOLDER=$work/plain
"$@"
