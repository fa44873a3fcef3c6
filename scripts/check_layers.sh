#!/usr/bin/env bash
# check_layers.sh [ROOT]: fails when a folder includes what it may not, or a target does not link what it includes.
# scripts/layers.py has the table of who may include whom.
exec python3 "$(dirname "${BASH_SOURCE[0]}")/layers.py" "$@"
