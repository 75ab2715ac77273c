# Compiles one test locale: cmake -DCODESET=ISO-8859-1 -DCLASSES=plain -DDESTINATION=dir -P make_locale.cmake
#
# localedef(1) exits with 1 for warnings too, and warns about each category that the sources omit, so
# this script checks for the compiled file.
file(MAKE_DIRECTORY ${DESTINATION})
file(REMOVE ${DESTINATION}/${CODESET}/LC_CTYPE)
execute_process(
    COMMAND localedef --no-archive --quiet --no-warnings=ascii
            -i ./${CLASSES}.locale -f ./${CODESET}.charmap ${DESTINATION}/${CODESET}
    WORKING_DIRECTORY ${CMAKE_CURRENT_LIST_DIR}
    OUTPUT_VARIABLE messages
    ERROR_VARIABLE messages
    RESULT_VARIABLE result)
if(NOT EXISTS ${DESTINATION}/${CODESET}/LC_CTYPE OR result GREATER 1)
    message(FATAL_ERROR "localedef (package libc-bin) made no ${CODESET} locale: ${result} ${messages}")
endif()
