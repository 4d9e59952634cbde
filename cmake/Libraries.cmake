# Libraries of the distribution, each behind one interface target.
find_package(Threads REQUIRED)
find_package(Boost 1.81.0 EXACT CONFIG REQUIRED COMPONENTS thread)

# Boost headers count as system headers: their warnings are not ours.
add_library(corvanepi_boost INTERFACE)
target_link_libraries(corvanepi_boost INTERFACE Boost::headers Threads::Threads)
target_compile_definitions(corvanepi_boost INTERFACE BOOST_ASIO_NO_DEPRECATED BOOST_JSON_NO_LIB)

# TinyXML: the shared library, because the packaged archive is not position-independent.
find_path(TINYXML_INCLUDE tinyxml.h REQUIRED)
find_library(TINYXML_LIBRARY NAMES libtinyxml.so REQUIRED)
add_library(corvanepi_tinyxml INTERFACE)
target_include_directories(corvanepi_tinyxml SYSTEM INTERFACE ${TINYXML_INCLUDE})
target_link_libraries(corvanepi_tinyxml INTERFACE ${TINYXML_LIBRARY})
