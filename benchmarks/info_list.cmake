# An executable of 20 MB with a property list.
file(CONFIGURE OUTPUT info_list_large.cpp
    CONTENT "extern const char content[]; const char content[20 << 20] = {1}; int main() { return content[1]; }\n")
kvs_program(info_list_large SOURCES ${CMAKE_CURRENT_BINARY_DIR}/info_list_large.cpp)
configure_file(${PROJECT_SOURCE_DIR}/resources/KvnServiceController-Info.plist.in info_list.plist @ONLY)
kvs_embed_info_list(info_list_large ${CMAKE_CURRENT_BINARY_DIR}/info_list.plist)

kvs_bench(info_list_bench SOURCES info_list_bench.cpp DEPENDS core_system host_executable)
add_dependencies(info_list_bench info_list_large)
target_compile_definitions(info_list_bench PRIVATE EXECUTABLE="$<TARGET_FILE:info_list_large>")
