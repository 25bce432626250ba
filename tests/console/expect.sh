# Sourced by the scripts beside it, which set `program`: what a command must answer.

failures=0

fail() {
  echo "FAILED: $1"
  failures=$((failures + 1))
}

# expect STATUS PATTERN ARGS...: runs the program, which reads $input; its exit status must be STATUS and its output
# match PATTERN.
expect() {
  local status=$1 pattern=$2 output code
  shift 2
  output=$("$program" "$@" 2>&1 <<<"${input-}")
  code=$?
  if [ "$code" -ne "$status" ] || ! grep -qzP -- "$pattern" <<<"$output"; then
    fail "marrowen $*"
    printf '  status %s, wanted %s; wanted output like: %s\n%s\n' "$code" "$status" "$pattern" "$output"
  fi
}
