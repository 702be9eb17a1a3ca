# Turns the CIE tables under data/cie into C++ source at build time, so the program carries its
# colorimetric data without reading files at run time. The generator is plain CMake script.
set(TINTARA_GENERATED_DIR ${CMAKE_BINARY_DIR}/generated )
set(generatedDir ${CMAKE_BINARY_DIR}/generated)
set(generatedFile ${generatedDir}/CieTables.cpp)
file(GLOB cieTables ${TINTARA_DATA_DIR}/cie/*.csv)
add_custom_command(
    OUTPUT ${generatedFile}
    COMMAND ${CMAKE_COMMAND} -DDATA_DIR=${TINTARA_DATA_DIR}/cie -DOUT=${generatedFile}
            -P ${CMAKE_CURRENT_LIST_DIR}/GenerateCieTables.cmake
    DEPENDS ${cieTables} ${CMAKE_CURRENT_LIST_DIR}/GenerateCieTables.cmake
    COMMENT "Generating CIE tables")
set(TINTARA_GENERATED_SOURCES ${generatedFile} )
