# Test programs are compiled without optimisation in every preset. Their time goes into the
# library, which keeps the preset's flags; optimising the expansions of their assertions was
# most of the time a cold build spent on them.
function(tolvana_test_program target)
  target_compile_options(${target} PRIVATE -O0)
endfunction()
