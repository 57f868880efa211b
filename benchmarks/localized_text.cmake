find_package(EXPAT REQUIRED)
kvs_bench(localized_text_bench SOURCES localized_text_bench.cpp DEPENDS basic core_logging core_system EXPAT::EXPAT)
target_compile_definitions(localized_text_bench PRIVATE
    KVN_LANGUAGE_FILE="${PROJECT_SOURCE_DIR}/resources/language.xml")
