# Profile-guided optimisation of the programs, included by the top folder: the training
# build in training/, its training session, and the machine of both programs and the
# runner's own code compiled with the counts. The desktop program's own code is not
# trained: it waits on the user and the window system, not on the machine.
# The training program boots the 6128 and the 464, and BASIC prints, computes, draws in
# every screen mode and plays notes, in "Best" and "Fastest" with both sound engines. The
# sessions differ from the benchmark's so that the profile follows what the program does
# rather than one workload. (No semicolons in the BASIC: they would split the CMake list.)
include(ExternalProject)

set(training_dir ${PROJECT_BINARY_DIR}/training)
set(counts_dir ${training_dir}/counts)
set(trainee ${training_dir}/bin/brallivane-run)
if(CMAKE_GENERATOR MATCHES "Make")
    set(build_trainee "$(MAKE)" brallivane-run)  # shares the outer make's jobs
else()
    set(build_trainee ${CMAKE_COMMAND} --build . --target brallivane-run)
endif()
ExternalProject_Add(brallivane-run-training
    SOURCE_DIR ${PROJECT_SOURCE_DIR}
    BINARY_DIR ${training_dir}
    PREFIX ${training_dir}/external
    CMAKE_ARGS -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE} -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}
               -DBRALLIVANE_PGO_TRAINING=${counts_dir}
    BUILD_COMMAND ${build_trainee}
    BUILD_ALWAYS ON  # the inner build decides what changed
    BUILD_BYPRODUCTS ${trainee}
    INSTALL_COMMAND "")

set(program "10 MODE 1:FOR i=1 TO 400:PRINT i,i*i,SQR(i):IF i MOD 15=0 THEN SOUND 1,200+i,8,7\\n")
string(APPEND program "20 NEXT:FOR m=0 TO 2:MODE m:FOR j=1 TO 60:PLOT RND*640,RND*400,j MOD 4:")
string(APPEND program "DRAW RND*640,RND*400:NEXT:NEXT:GOTO 10\\nRUN\\n")
set(wav ${training_dir}/training.wav)
set(machine --roms ${BRALLIVANE_TRAINING_ROMS} --no-trace)
set(basic --until-text Ready --type ${program} --run-ms 6000)
add_custom_command(OUTPUT ${counts_dir}/trained
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${counts_dir}
    COMMAND ${trainee} --model 6128 ${machine} ${basic} --wav ${wav}
    COMMAND ${trainee} --model 6128 ${machine} --fast ${basic} --wav ${wav}
    COMMAND ${trainee} --model 6128 ${machine} --fast ${basic}
    COMMAND ${trainee} --model 464 ${machine} ${basic}
    COMMAND ${CMAKE_COMMAND} -E rm -f ${wav}
    COMMAND ${CMAKE_COMMAND} -E touch ${counts_dir}/trained
    DEPENDS ${trainee}
    COMMENT "Training the runner for profile-guided optimisation"
    VERBATIM)
add_custom_target(brallivane-run-profile DEPENDS ${counts_dir}/trained)
add_dependencies(brallivane-run-profile brallivane-run-training)

set(use_counts -fprofile-use=${counts_dir} -fprofile-prefix-path=${PROJECT_BINARY_DIR}
    -fprofile-partial-training -Wno-missing-profile
    -fprofile-correction)  # the counts of the emulation thread and the driving thread may race
target_compile_options(brallivane_program_machine PRIVATE ${use_counts})
target_compile_options(brallivane-run PRIVATE ${use_counts})
add_dependencies(brallivane_program_machine brallivane-run-profile)
add_dependencies(brallivane-run brallivane-run-profile)
# New counts compile the trained objects again: the machine's, and of the runner's sources
# the one its library does not share (the property would reach that library's objects too;
# the others are few and cold).
get_target_property(machine_sources brallivane_program_machine SOURCES)
set_source_files_properties(${machine_sources} PROPERTIES OBJECT_DEPENDS ${counts_dir}/trained)
set_source_files_properties(${PROJECT_SOURCE_DIR}/tools/runner/main.cpp
    DIRECTORY ${PROJECT_SOURCE_DIR}/tools/runner
    PROPERTIES OBJECT_DEPENDS ${counts_dir}/trained)
