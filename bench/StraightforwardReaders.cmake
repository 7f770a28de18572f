# The textbook readers: the oracle of the readers' tests and the baseline of
# the benchmark. Both folders include this file, so it defines the target
# once and depends only on the readers' headers.
if(NOT TARGET vireo_straightforward_readers)
  add_library(vireo_straightforward_readers STATIC ${CMAKE_CURRENT_LIST_DIR}/StraightforwardReaders.cpp)
  target_include_directories(vireo_straightforward_readers PUBLIC ${CMAKE_CURRENT_LIST_DIR}
                             PRIVATE ${PROJECT_SOURCE_DIR}/readers)
  target_link_libraries(vireo_straightforward_readers PUBLIC Vireo::WrapperInterface
                        PRIVATE vireo_warnings)
endif()
