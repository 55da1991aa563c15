# cmake -DLUPDATE=… -DSOURCE_DIR=… -DWORK_DIR=… -P CheckTranslations.cmake
# Runs lupdate over core/ and app/ into copies of app/translations/*.ts (the originals are not
# touched) and fails, naming the texts, when an entry is new or unfinished (a text marked but not
# translated) or vanished (a translation whose text changed or went away).
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
file(GLOB originals "${SOURCE_DIR}/app/translations/*.ts")
if(NOT originals)
    message(FATAL_ERROR "No .ts files in ${SOURCE_DIR}/app/translations")
endif()
set(copies)
foreach(original IN LISTS originals)
    get_filename_component(name "${original}" NAME)
    file(COPY_FILE "${original}" "${WORK_DIR}/${name}")
    list(APPEND copies "${WORK_DIR}/${name}")
endforeach()

execute_process(
    COMMAND "${LUPDATE}" -locations none -extensions cpp,h,qml -I "${SOURCE_DIR}"
            -I "${SOURCE_DIR}/app" "${SOURCE_DIR}/core" "${SOURCE_DIR}/app" -ts ${copies}
    RESULT_VARIABLE result
    OUTPUT_VARIABLE output
    ERROR_VARIABLE output)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "lupdate failed (${result}):\n${output}")
endif()
# lupdate warns about calls it cannot read (tr() outside a class, for example).
if(output MATCHES "[Ww]arning|[Ee]rror")
    message(FATAL_ERROR "lupdate reported problems:\n${output}")
endif()

set(problems "")
foreach(copy IN LISTS copies)
    get_filename_component(name "${copy}" NAME)
    file(READ "${copy}" content)
    foreach(state unfinished vanished obsolete)
        set(rest "${content}")
        while(TRUE)
            string(FIND "${rest}" "<translation type=\"${state}\"" at)
            if(at EQUAL -1)
                break()
            endif()
            # The message's source text is the last one before its translation.
            string(SUBSTRING "${rest}" 0 ${at} before)
            string(FIND "${before}" "<source>" from REVERSE)
            string(SUBSTRING "${before}" ${from} -1 source)
            string(REGEX REPLACE "^<source>([^<]*)</source>.*$" "\\1" source "${source}")
            string(APPEND problems "  ${name}: ${state}: ${source}\n")
            math(EXPR at "${at} + 1")
            string(SUBSTRING "${rest}" ${at} -1 rest)
        endwhile()
    endforeach()
endforeach()
if(problems)
    message(FATAL_ERROR
        "Texts without a complete translation, or translations of texts that are gone:\n"
        "${problems}"
        "Run `cmake --build build --target update_translations`, then translate the new "
        "texts in app/translations/*.ts (Qt Linguist, or by hand) and remove the vanished ones.")
endif()
message(STATUS "Every marked text is translated in ${originals}")
