# Compiles one test locale: cmake -DCODESET=ISO-8859-1 -DCLASSES=plain -DDESTINATION=dir -P make_locale.cmake
# Further options: -DNAME=name of the locale, if not CODESET; -DSOURCES=folder of the sources, if not this one.
#
# localedef(1) exits with 1 for warnings too, and warns about each category that the sources omit, so
# this script checks for the compiled file.
if(NOT DEFINED NAME)
    set(NAME ${CODESET})
endif()
if(NOT DEFINED SOURCES)
    set(SOURCES ${CMAKE_CURRENT_LIST_DIR})
endif()
file(MAKE_DIRECTORY ${DESTINATION})
file(REMOVE ${DESTINATION}/${NAME}/LC_CTYPE)
execute_process(
    COMMAND localedef --no-archive --quiet --no-warnings=ascii
            -i ./${CLASSES}.locale -f ./${CODESET}.charmap ${DESTINATION}/${NAME}
    WORKING_DIRECTORY ${SOURCES}
    OUTPUT_VARIABLE messages
    ERROR_VARIABLE messages
    RESULT_VARIABLE result)
if(NOT EXISTS ${DESTINATION}/${NAME}/LC_CTYPE OR result GREATER 1)
    message(FATAL_ERROR "localedef (package libc-bin) made no ${NAME} locale: ${result} ${messages}")
endif()
