kvs_bench(helper_bench SOURCES helper_bench.cpp
    DEPENDS privileged_helper_client host_posix host_property_list core_logging)

if(TARGET host_linux)
    kvs_program(helper_cycles SOURCES helper_cycles.cpp DEPENDS agent host_linux)
    add_dependencies(helper_cycles KvnServiceController)
    target_compile_definitions(helper_cycles PRIVATE HELPER="$<TARGET_FILE:KvnServiceController>"
        VERSION="${PROJECT_VERSION}")
endif()
