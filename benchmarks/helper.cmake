kvs_bench(helper_bench SOURCES helper_bench.cpp
    DEPENDS privileged_helper_client host_posix host_property_list core_logging)
