#!/bin/sh
# Starts the compiler of the mutation build: compile.sh COMPILER ARGUMENT... SOURCE
#
# In a mutated source a warning of what the change makes odd is no error, but an array whose bound is
# no longer a constant is. Quickly compiled is better than fast: there are many of them. What has to
# be built without optimisation stays so.
for word; do
  case "$word" in -O*) level=$word ;; esac
done
source=$word
case "$(head -n 1 "$source" 2>/dev/null)" in
  '#include "'*/tests/mutation/mutant_switch.h'"')
    [ "$level" = -O0 ] || level=-O1
    set -- "$@" "$level" -Wno-error -Werror=vla -fdiagnostics-column-unit=byte
    ;;
esac
if command -v ccache >/dev/null; then
  exec ccache "$@"
fi
exec "$@"
