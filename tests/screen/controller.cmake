# The screen's actions over a device layer that only writes down what it is called for.
keyloft_program(bundle_printer bundle_printer.cpp controller_fixture.cpp
  LINK screen_controller test_captured_output GTest::gtest)
keyloft_test(controller_test
  controller_alert_test.cpp controller_bundle_test.cpp controller_choice_test.cpp
  controller_fatal_test.cpp controller_fixture.cpp controller_hooks_test.cpp
  controller_machine_text_test.cpp controller_probe_test.cpp controller_save_test.cpp
  controller_state_test.cpp
  LINK screen_controller test_captured_output)
target_compile_definitions(controller_test PRIVATE BUNDLE_PRINTER="$<TARGET_FILE:bundle_printer>")
add_dependencies(controller_test bundle_printer)

# A stop that throws, so that the test sees what had happened by then.
keyloft_part(test_throwing_stop throwing_stop.cpp)
keyloft_test(controller_stop_test
  controller_fixture.cpp controller_numbers_test.cpp controller_order_test.cpp
  controller_status_test.cpp
  LINK screen_controller test_throwing_stop test_captured_output)

# Whole presses over the real device layer, the embedded service and simulated machines.
keyloft_test(press_test
  press_fixture.cpp press_test.cpp press_threads_test.cpp
  THREADS LINK screen_controller device_layer midi_service midi_embedded simulation_firmware
    simulation_embedded test_captured_output test_press_lines test_virtual_pauses test_watchdog)

# What the address sanitizer does not see: values that nobody wrote.
if(KEYLOFT_VARIANT STREQUAL "plain")
  foreach(suite IN ITEMS Press ApplyPress SavePress)
    add_test(NAME valgrind.${suite}
      COMMAND valgrind --quiet --error-exitcode=1 --leak-check=full
        --errors-for-leak-kinds=definite,indirect,possible $<TARGET_FILE:press_test>
        --gtest_filter=${suite}.*)
    set_tests_properties(valgrind.${suite} PROPERTIES
      LABELS "valgrind;slow" TIMEOUT 300 FAIL_REGULAR_EXPRESSION "Running 0 tests")
  endforeach()
endif()
