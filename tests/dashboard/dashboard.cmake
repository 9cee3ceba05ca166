# mediastores-demo --http checked with the real programs on the other end: headless Chromium
# renders the dashboard (label browser) and a Prometheus server scrapes /metrics (label
# monitoring). Both skip (exit 77) when the program or the demo's --http is missing. Not run in
# the sanitizer builds, where they would only add minutes.
if(TARGET mediastores-demo AND NOT MEDIASTORES_SANITIZE)
  add_test(NAME dashboard.browser
    COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/check_dashboard.sh $<TARGET_FILE:mediastores-demo>
            ${PROJECT_BINARY_DIR}/dashboard.png)
  set_tests_properties(dashboard.browser PROPERTIES LABELS browser SKIP_RETURN_CODE 77
                       TIMEOUT 180)
  add_test(NAME dashboard.prometheus
    COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/check_prometheus.sh $<TARGET_FILE:mediastores-demo>)
  set_tests_properties(dashboard.prometheus PROPERTIES LABELS monitoring SKIP_RETURN_CODE 77
                       TIMEOUT 90)
endif()
