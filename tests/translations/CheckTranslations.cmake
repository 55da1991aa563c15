# cmake -DLUPDATE=… -DSOURCE_DIR=… -DWORK_DIR=… -P CheckTranslations.cmake: lupdate over copies of
# the .ts files; fails naming each unfinished, vanished or obsolete text, or on lupdate's warnings.
file(REMOVE_RECURSE "${WORK_DIR}")
file(COPY "${SOURCE_DIR}/app/translations/" DESTINATION "${WORK_DIR}" FILES_MATCHING PATTERN "*.ts")
file(GLOB copies "${WORK_DIR}/*.ts")
execute_process(
    COMMAND "${LUPDATE}" -locations none -extensions cpp,h,qml -I "${SOURCE_DIR}"
            -I "${SOURCE_DIR}/app" "${SOURCE_DIR}/core" "${SOURCE_DIR}/app" -ts ${copies}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT copies OR NOT result EQUAL 0 OR output MATCHES "[Ww]arning|[Ee]rror")
    message(FATAL_ERROR "lupdate over ${copies} failed (${result}):\n${output}")
endif()
foreach(copy IN LISTS copies)
    get_filename_component(name "${copy}" NAME)
    file(READ "${copy}" content)
    string(REGEX REPLACE "<comment>[^<]*</comment>" "" content "${content}")
    string(REGEX MATCHALL "<source>[^<]*</source>[ \n]*<translation type=\"[a-z]+\"" entries
           "${content}")
    list(TRANSFORM entries REPLACE ".*<source>(.*)</source>.*type=\"(.*)\"" "  ${name}: \\2: \\1\n")
    string(APPEND problems ${entries})
endforeach()
if(problems)
    message(FATAL_ERROR "Texts without a complete translation, or translations of vanished texts:\n"
        "${problems}Run `cmake --build build --target update_translations`, translate the new "
        "texts in app/translations/*.ts and remove the vanished ones.")
endif()
