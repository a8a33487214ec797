# find_package(lumvndhal): lumvndhal::client is what a client links, lumvndhal::host what makes a
# campaign engine a hosting executable.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/lumvndhalTargets.cmake)
