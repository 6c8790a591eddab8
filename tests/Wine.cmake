# Tests that run programs for Windows.

# The prefix is made once, by the first test; the others wait for it.
add_test(NAME windows.prefix COMMAND "${SVC_WINE}" wineboot --init)
set_tests_properties(windows.prefix PROPERTIES FIXTURES_SETUP wine TIMEOUT 300)

# svc_wine_tests(NAME...): these need the prefix. What is none of Windows, such as Python, is named
# by its file and not by its target: a target would be run by Wine, which says of any such program
# that all went well.
function(svc_wine_tests)
  set_tests_properties(${ARGN} PROPERTIES FIXTURES_REQUIRED wine TIMEOUT 300)
endfunction()
