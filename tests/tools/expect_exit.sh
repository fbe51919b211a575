#!/bin/sh
# Runs a program and checks its exit code and that one line of its output (stdout and stderr)
# matches an extended regular expression.
expected=$1; pattern=$2; shift 2
output=$("$@" 2>&1)
code=$?
printf '%s\n' "$output"
[ "$code" -eq "$expected" ] || { echo "expect_exit: exit code $code, expected $expected"; exit 1; }
printf '%s\n' "$output" | grep -Eq -- "$pattern" || { echo "expect_exit: no line matches: $pattern"; exit 1; }
