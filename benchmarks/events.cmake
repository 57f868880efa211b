find_package(Boost REQUIRED)
kvs_bench(events_bench SOURCES events_bench.cpp DEPENDS core_events Boost::headers)
