#!/bin/sh
# Writes the man page of the program to standard output. The program's own help is the source: nothing can drift.
#   make-page.sh PROGRAM
set -eu
program=$1

# Help as text between .nf and .fi; what roff would take for a request or an escape is made plain.
help_of() {
  "$program" "$@" --help | sed -e 's/\\/\\e/g' -e 's/-/\\-/g' -e "s/^\\([.']\\)/\\\\\\&\\1/"
}
subcommands_of() {
  "$program" "$@" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p'
}
section() {
  printf '.SS ringmix %s\n.nf\n' "$*"
  help_of "$@"
  printf '.fi\n'
}

version=$("$program" --version)
summary=$("$program" --help | head -n 1)
printf '.TH RINGMIX 1 "" "%s" "User Commands"\n' "$version"
printf '.SH NAME\nringmix \\- %s\n' "$(printf %s "$summary" | sed 's/^./\l&/')"
printf '.SH SYNOPSIS\n.B ringmix\n.I COMMAND\n[options]\n'
printf '.SH DESCRIPTION\n.nf\n'
help_of
printf '.fi\n.SH COMMANDS\n'
for command in $(subcommands_of); do
  section "$command"
  for inner in $(subcommands_of "$command"); do
    section "$command" "$inner"
  done
done
printf '.SH SEE ALSO\n.BR aplay (1),\n.BR sox (1)\n'
