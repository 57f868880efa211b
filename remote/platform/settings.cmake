# The user's preferences and the service's policy. The reader of property lists comes from the host.
kvs_library(remote_settings
    SOURCES RemoteAppSuitePrefs.cpp RemoteServiceSettings.cpp
    DEPENDS core_system core_text core_threads host_interfaces
    PRIVATE_DEPENDS core_base core_logging core_platform core_time remote_config)
