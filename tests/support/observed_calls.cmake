# Lets ObservedCalls see the system calls of what is linked into `target`.
function(observe_calls target)
  foreach(call malloc read write select socket connect setsockopt close)
    target_link_options(${target} PRIVATE -Wl,--wrap=${call})
  endforeach()
endfunction()
