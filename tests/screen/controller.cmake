# The screen's actions over a device layer that only writes down what it is called for.
keyloft_part(test_controller_fixture controller_fixture.cpp LINK GTest::gtest)
keyloft_part(test_throwing_stop throwing_stop.cpp)

foreach(subject IN ITEMS state hooks probe choice machine_text alert save fatal)
  keyloft_test(controller_${subject}_test controller_${subject}_test.cpp
    LINK screen_controller test_controller_fixture test_captured_output)
endforeach()

# A stop that throws, so that the test sees what had happened by then.
foreach(subject IN ITEMS status numbers order)
  keyloft_test(controller_${subject}_test controller_${subject}_test.cpp
    LINK screen_controller test_controller_fixture test_throwing_stop test_captured_output)
endforeach()

keyloft_program(bundle_printer bundle_printer.cpp
  LINK screen_controller test_controller_fixture test_captured_output GTest::gtest)
keyloft_test(controller_bundle_test controller_bundle_test.cpp
  LINK screen_controller test_controller_fixture test_captured_output)
target_compile_definitions(controller_bundle_test PRIVATE
  BUNDLE_PRINTER="$<TARGET_FILE:bundle_printer>")
add_dependencies(controller_bundle_test bundle_printer)

# Whole presses over the real device layer, the embedded service and simulated machines.
keyloft_part(test_press_fixture press_fixture.cpp LINK GTest::gtest)
foreach(subject IN ITEMS start apply save)
  keyloft_test(press_${subject}_test press_${subject}_test.cpp
    LINK test_press_fixture screen_controller device_layer midi_service midi_embedded
      simulation_firmware simulation_embedded test_captured_output test_virtual_pauses)
endforeach()
keyloft_test(press_threads_test press_threads_test.cpp
  LINK test_press_fixture screen_controller device_layer midi_service midi_embedded simulation_firmware
    simulation_embedded test_captured_output test_virtual_pauses test_watchdog)

# What the address sanitizer does not see: values that nobody wrote.
if(NOT CMAKE_CXX_FLAGS MATCHES "-m32|-f")
  foreach(subject IN ITEMS start apply save)
    add_test(NAME valgrind.press_${subject}
      COMMAND valgrind --quiet --error-exitcode=1 --leak-check=full
        --errors-for-leak-kinds=definite,indirect,possible $<TARGET_FILE:press_${subject}_test>)
    set_tests_properties(valgrind.press_${subject} PROPERTIES LABELS valgrind TIMEOUT 300)
  endforeach()
endif()
