"""Says in one line what ran and what was left out, and why: what_ran.py NAME RESULTS, the latter as ctest writes them for
JUnit. Ends with status 1 when a test failed."""

import collections
import re
import sys
import xml.etree.ElementTree


def reason(case):
    """Why a test was left out: what it says when it skips itself."""
    said = re.search(r"Skipped\n(.+)|skipped '(.+)'", case.findtext("system-out") or "")
    return said.group(1) or said.group(2) if said else "for reasons not said"


def main():
    name, results = sys.argv[1:]
    left_out = collections.Counter()
    passed, failed = 0, []
    for case in xml.etree.ElementTree.parse(results).iter("testcase"):
        if case.get("status") == "run":
            passed += 1
        elif case.find("skipped") is not None:
            left_out[reason(case)] += 1
        else:
            failed.append(case.get("name").split("  #")[0])
    line = f"Tests ({name}): {passed + len(failed)} ran, "
    line += f"{len(failed)} failed: {', '.join(failed)}" if failed else "all passed"
    line += f"; {left_out.total()} left out"
    if left_out:
        line += ": " + ", ".join(f"{why} ({count})" for why, count in left_out.most_common())
    print(line)
    return 1 if failed else 0


sys.exit(main())
