# Targets zrpclient::zrpclient (shared) and zrpclient::zrpclient_static.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/zrpclientTargets.cmake)
