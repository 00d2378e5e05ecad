#!/usr/bin/env python3
"""Reads a JUnit XML report as a CI server does and checks its structure:
check_junit.py FILE SUITES FAILURES (the test suites, one per application, and the failures)."""
import sys
import xml.etree.ElementTree as ET


def main(path, suites, failures):
    root = ET.parse(path).getroot()
    assert root.tag == "testsuites", root.tag
    found = root.findall("testsuite")
    assert len(found) == suites, f"{len(found)} test suites, expected {suites}"
    total_tests = total_failures = 0
    for suite in found:
        cases = suite.findall("testcase")
        assert suite.get("name"), "a test suite without a name"
        assert int(suite.get("tests")) == len(cases), f"{suite.get('name')}: tests={suite.get('tests')}, {len(cases)} cases"
        fails = sum(len(c.findall("failure")) for c in cases)
        assert int(suite.get("failures")) == fails, f"{suite.get('name')}: failures={suite.get('failures')}, {fails} failures"
        for case in cases:
            assert case.get("classname") == suite.get("name") and case.get("name"), ET.tostring(case)
            for failure in case.findall("failure"):
                assert failure.get("message") and failure.get("type") == case.get("name"), ET.tostring(failure)
        total_tests += len(cases)
        total_failures += fails
    assert int(root.get("tests")) == total_tests, (root.get("tests"), total_tests)
    assert int(root.get("failures")) == total_failures == failures, (root.get("failures"), total_failures, failures)


if __name__ == "__main__":
    try:
        main(sys.argv[1], int(sys.argv[2]), int(sys.argv[3]))
    except (AssertionError, ET.ParseError) as e:
        print(f"check_junit.py: {sys.argv[1]}: {e}", file=sys.stderr)
        sys.exit(1)
