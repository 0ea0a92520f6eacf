# Runs one kora-host script in a fresh work folder and compares its output
# with the expected files next to it: <name>.out for the standard output and,
# when present, <name>.err for the standard error stream, which then runs
# with PARVEX_TRACE set (without it the error stream must stay empty).
get_filename_component(dir ${SCRIPT} DIRECTORY)
get_filename_component(name ${SCRIPT} NAME_WE)
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})

set(expected_err_file ${dir}/${name}.err)
if(EXISTS ${expected_err_file})
  set(ENV{PARVEX_TRACE} 1)
else()
  unset(ENV{PARVEX_TRACE})
endif()

execute_process(
  COMMAND ${KORA_HOST} --work ${WORK} ${PLUGIN} ${SCRIPT}
  WORKING_DIRECTORY ${WORK}
  OUTPUT_VARIABLE out
  ERROR_VARIABLE err
  RESULT_VARIABLE status)

file(READ ${dir}/${name}.out expected_out)
set(expected_err "")
if(EXISTS ${expected_err_file})
  file(READ ${expected_err_file} expected_err)
endif()

set(failed FALSE)
if(NOT status EQUAL 0)
  message("kora-host exited with ${status}")
  set(failed TRUE)
endif()
foreach(stream out err)
  if(NOT "${${stream}}" STREQUAL "${expected_${stream}}")
    file(WRITE ${WORK}/actual.${stream} "${${stream}}")
    file(WRITE ${WORK}/expected.${stream} "${expected_${stream}}")
    execute_process(COMMAND diff -u ${WORK}/expected.${stream} ${WORK}/actual.${stream}
                    OUTPUT_VARIABLE difference)
    message("standard ${stream} differs from ${name}.${stream}:\n${difference}")
    set(failed TRUE)
  endif()
endforeach()
if(failed)
  message(FATAL_ERROR "${name} failed")
endif()
