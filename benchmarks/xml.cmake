find_package(pugixml REQUIRED)
find_package(fmt REQUIRED)
find_path(RAPIDXML_INCLUDE rapidxml/rapidxml.hpp REQUIRED)

kvs_bench(xml_bench SOURCES xml_bench.cpp DEPENDS remote_xml pugixml::pugixml fmt::fmt)
# A peer's header is not held to our warnings.
target_include_directories(xml_bench SYSTEM PRIVATE ${RAPIDXML_INCLUDE})
