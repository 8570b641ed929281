# A text file built into a program.
# As a script: cmake -DINPUT=FILE -DOUTPUT=FILE.cpp -DHEADER=NAME -DFUNCTION=NAME -P embedText.cmake
if(CMAKE_SCRIPT_MODE_FILE)
  file(READ "${INPUT}" bytes HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  file(WRITE "${OUTPUT}" "#include \"${HEADER}\"
static constexpr char kText[] = {${bytes}'\\0'};
std::string_view ${FUNCTION}()
{
    return {kText, sizeof kText - 1};
}
")
  return()
endif()

# receiver_embed_text(TARGET FILE HEADER FUNCTION): the library TARGET, whose FUNCTION, declared in HEADER, returns what
# FILE holds.
function(receiver_embed_text target file header function)
  set(source "${CMAKE_CURRENT_BINARY_DIR}/${function}.cpp")
  set(script "${PROJECT_SOURCE_DIR}/cmake/embedText.cmake")
  add_custom_command(OUTPUT "${source}"
    COMMAND ${CMAKE_COMMAND} "-DINPUT=${file}" "-DOUTPUT=${source}" -DHEADER=${header} -DFUNCTION=${function}
            -P "${script}"
    DEPENDS "${file}" "${script}"
    VERBATIM)
  add_library(${target} STATIC "${source}")
  target_include_directories(${target} PUBLIC "${PROJECT_SOURCE_DIR}/tools")
  target_link_libraries(${target} PRIVATE receiverOptions)
endfunction()
