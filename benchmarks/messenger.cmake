find_path(ZMQ_INCLUDE zmq.h REQUIRED)
find_library(ZMQ_LIBRARY zmq REQUIRED)

kvs_bench(messenger_bench SOURCES messenger_bench.cpp DEPENDS core_messenger core_logging core_system ${ZMQ_LIBRARY})
target_include_directories(messenger_bench SYSTEM PRIVATE ${ZMQ_INCLUDE})
