find_package(spdlog REQUIRED)
kvs_bench(logging_bench SOURCES logging_bench.cpp DEPENDS core_logging core_system core_text spdlog::spdlog)
