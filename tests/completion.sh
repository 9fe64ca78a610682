# For the tests of completion, which source it: what Bash makes of words.

# expect_of PROGRAM WANTED WORD...: the last word is the one that is completed.
expect_of()
{
    local program=$1 wanted=$2
    shift 2
    COMP_WORDS=("$program" "$@")
    COMP_CWORD=$#
    "_${program//-/_}"
    if [ "${COMPREPLY[*]}" != "$wanted" ]; then
        echo "FAILED: '$*' gave '${COMPREPLY[*]}' in place of '$wanted'" >&2
        exit 1
    fi
}
