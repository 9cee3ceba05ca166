# Peer JSON libraries for json_peers_bench. Each one found is compiled into the benchmark; a
# missing one is left out (bench/install-json-peers.sh installs all four from the distribution).
if(NOT TARGET mediastores_json_peers_bench)
  return()
endif()

set(_json_peers "")

find_package(nlohmann_json 3 CONFIG QUIET)
if(nlohmann_json_FOUND)
  target_link_libraries(mediastores_json_peers_bench PRIVATE nlohmann_json::nlohmann_json)
  target_compile_definitions(mediastores_json_peers_bench PRIVATE MEDIASTORES_BENCH_NLOHMANN=1)
  list(APPEND _json_peers nlohmann-json)
endif()

find_package(RapidJSON CONFIG QUIET)
if(RapidJSON_FOUND)
  target_include_directories(mediastores_json_peers_bench SYSTEM PRIVATE ${RAPIDJSON_INCLUDE_DIRS})
  target_compile_definitions(mediastores_json_peers_bench PRIVATE MEDIASTORES_BENCH_RAPIDJSON=1)
  list(APPEND _json_peers RapidJSON)
endif()

# simdjson, DOM API: the fastest reader known, shown beside the others as a reference.
find_package(simdjson CONFIG QUIET)
if(TARGET simdjson::simdjson)
  target_link_libraries(mediastores_json_peers_bench PRIVATE simdjson::simdjson)
  target_compile_definitions(mediastores_json_peers_bench PRIVATE MEDIASTORES_BENCH_SIMDJSON=1)
  list(APPEND _json_peers simdjson)
endif()

find_package(jsoncpp CONFIG QUIET)
if(TARGET JsonCpp::JsonCpp)
  target_link_libraries(mediastores_json_peers_bench PRIVATE JsonCpp::JsonCpp)
  target_compile_definitions(mediastores_json_peers_bench PRIVATE MEDIASTORES_BENCH_JSONCPP=1)
  list(APPEND _json_peers JsonCpp)
elseif(TARGET jsoncpp_lib)
  target_link_libraries(mediastores_json_peers_bench PRIVATE jsoncpp_lib)
  target_compile_definitions(mediastores_json_peers_bench PRIVATE MEDIASTORES_BENCH_JSONCPP=1)
  list(APPEND _json_peers JsonCpp)
endif()

if(_json_peers)
  string(REPLACE ";" ", " _json_peers_text "${_json_peers}")
  message(STATUS "json_peers_bench compares with: ${_json_peers_text}")
else()
  message(STATUS "json_peers_bench: no peer JSON library found (bench/install-json-peers.sh)")
endif()
