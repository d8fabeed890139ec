#!/bin/bash
# Holds commit subjects to their form, `area: what is done`, in at most 72 characters and without a full stop at the
# end: subjects.sh [SINCE]. Those up to SINCE, a commit, go unchecked; without it those that came before this check.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
since=${1:-133d536}
range=$since..HEAD
# A history cut short has the last one at least.
git merge-base --is-ancestor "$since" HEAD 2>/dev/null || range=-1

status=0
while IFS= read -r line; do
  subject=${line#* }
  if ((${#subject} > 72)); then
    echo "scripts/subjects.sh: ${#subject} characters, expected at most 72: $line" >&2
    status=1
  elif [[ ! $subject =~ ^[A-Za-z0-9_./+-]+(,\ [A-Za-z0-9_./+-]+)*:\ [^\ ].*[^.\ ]$ ]]; then
    echo "scripts/subjects.sh: expected \`area: what is done\`: $line" >&2
    status=1
  fi
done < <(git log --no-merges --format='%h %s' "$range")
exit "$status"
