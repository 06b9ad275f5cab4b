# Registers a test program as a few CTest tests `name.1`, `name.2` ... that share its cases out among
# them, in random order: as many as there are processors, or SHARDS times as many where the cases
# wait rather than compute. RING is the label: check, test or proof. TIMEOUT in seconds, 120 without it.
function(add_test_program name program)
  cmake_parse_arguments(arg "" "RING;SHARDS;TIMEOUT" "ENVIRONMENT" ${ARGN})
  if(NOT arg_SHARDS)
    set(arg_SHARDS 1)
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  cmake_host_system_information(RESULT processors QUERY NUMBER_OF_LOGICAL_CORES)
  math(EXPR shards "${processors} * ${arg_SHARDS}")
  math(EXPR last "${shards} - 1")
  foreach(shard RANGE ${last})
    math(EXPR number "${shard} + 1")
    add_test(NAME ${name}.${number} COMMAND ${program} --gtest_brief=1 --gtest_shuffle)
    set_tests_properties(
      ${name}.${number}
      PROPERTIES LABELS ${arg_RING} TIMEOUT ${arg_TIMEOUT} ENVIRONMENT
                 "GTEST_TOTAL_SHARDS=${shards};GTEST_SHARD_INDEX=${shard};${arg_ENVIRONMENT}")
  endforeach()
endfunction()
