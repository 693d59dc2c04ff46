# Writes an SPDX 2.3 document to `output`: the package, the shared libraries that its `files` need, and the `headers`
# (name=version) that were compiled into them. Run with cmake -P. A library of the distribution is named by its package
# and that package's version; one that no package holds is the platform's.

# The distribution's package that holds the shared library, as "name version"; empty if there is none.
function(package_of library result)
  set(${result} "" PARENT_SCOPE)
  execute_process(COMMAND dpkg-query -S "*/${library}" OUTPUT_VARIABLE owners ERROR_QUIET)
  # Files of other architectures and of other folders may have the same name: the one that the loader takes counts.
  execute_process(COMMAND ldconfig -p OUTPUT_VARIABLE cache ERROR_QUIET)
  if(NOT cache)
    execute_process(COMMAND /sbin/ldconfig -p OUTPUT_VARIABLE cache ERROR_QUIET)
  endif()
  string(REPLACE "." "\\." pattern ${library})
  string(REPLACE "+" "\\+" pattern ${pattern})
  if(NOT cache MATCHES "\t${pattern} [^\n]* => ([^\n]*)")
    return()
  endif()
  string(REGEX REPLACE "^/usr/" "/" path ${CMAKE_MATCH_1})
  string(REPLACE "+" "\\+" path ${path})
  string(REPLACE "." "\\." path ${path})
  if(NOT owners MATCHES "([^\n]*): (/usr)?${path}(\n|$)")
    return()
  endif()
  execute_process(COMMAND dpkg-query -W -f "\${Package} \${Version}" ${CMAKE_MATCH_1} OUTPUT_VARIABLE package)
  set(${result} "${package}" PARENT_SCOPE)
endfunction()

set(packages)
set(relationships "DESCRIBES|DOCUMENT|${package}")

# Appends a package, and what the packaged one has to do with it. Further arguments are lines of JSON.
macro(add_package relationship name version)
  string(REGEX REPLACE "[^A-Za-z0-9.-]" "-" id "${name}")
  string(JOIN ",\n" fields
    "      \"SPDXID\": \"SPDXRef-${id}\""
    "      \"name\": \"${name}\""
    "      \"versionInfo\": \"${version}\""
    "      \"downloadLocation\": \"NOASSERTION\""
    "      \"filesAnalyzed\": false"
    "      \"licenseConcluded\": \"NOASSERTION\""
    ${ARGN})
  list(APPEND packages "    {\n${fields}\n    }")
  if(NOT "${relationship}" STREQUAL "")
    list(APPEND relationships "${relationship}|${package}|${id}")
  endif()
endmacro()

set(undeclared "      \"licenseDeclared\": \"NOASSERTION\"" "      \"copyrightText\": \"NOASSERTION\"")
add_package("" ${package} ${version} "      \"licenseDeclared\": \"NONE\""
  "      \"copyrightText\": \"Copyright (C) 2026 the authors of the project\"")
foreach(header IN LISTS headers)
  string(REGEX MATCH "^(.*)=(.*)$" matched ${header})
  add_package(STATIC_LINK ${CMAKE_MATCH_1} ${CMAKE_MATCH_2} ${undeclared}
    "      \"comment\": \"headers, compiled into the package's files\"")
endforeach()

set(libraries)
foreach(file IN LISTS files)
  execute_process(COMMAND ${readelf} -dW ${file} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "Shared library: \\[[^\n]*\n" needed "${dynamic}")
  string(REGEX REPLACE "Shared library: .([^]]*).\n" "\\1" needed "${needed}")
  list(APPEND libraries ${needed})
endforeach()
list(REMOVE_DUPLICATES libraries)
list(SORT libraries)
set(known)
foreach(library IN LISTS libraries)
  package_of(${library} found)
  if(found)
    string(REGEX MATCH "^(.*) (.*)$" matched ${found})
    list(APPEND known "${CMAKE_MATCH_1}")
    list(APPEND files_of_${CMAKE_MATCH_1} ${library})
    set(version_of_${CMAKE_MATCH_1} ${CMAKE_MATCH_2})
  else()
    add_package(DYNAMIC_LINK ${library} NOASSERTION ${undeclared}
      "      \"comment\": \"${library}, which the platform provides\"")
  endif()
endforeach()
list(REMOVE_DUPLICATES known)
cmake_host_system_information(RESULT distribution QUERY DISTRIB_ID)
foreach(name IN LISTS known)
  list(JOIN files_of_${name} ", " shared)
  string(REPLACE "+" "%2B" encoded ${name}@${version_of_${name}})
  string(REPLACE ":" "%3A" encoded ${encoded})
  string(CONCAT reference "{ \"referenceCategory\": \"PACKAGE-MANAGER\", \"referenceType\": \"purl\", "
    "\"referenceLocator\": \"pkg:deb/${distribution}/${encoded}\" }")
  add_package(DYNAMIC_LINK ${name} ${version_of_${name}} ${undeclared}
    "      \"comment\": \"${shared}, shared\""
    "      \"externalRefs\": [ ${reference} ]")
endforeach()

set(relations)
foreach(relationship IN LISTS relationships)
  string(REGEX MATCH "^(.*)[|](.*)[|](.*)$" matched ${relationship})
  string(CONCAT relation "    { \"spdxElementId\": \"SPDXRef-${CMAKE_MATCH_2}\", "
    "\"relationshipType\": \"${CMAKE_MATCH_1}\", \"relatedSpdxElement\": \"SPDXRef-${CMAKE_MATCH_3}\" }")
  list(APPEND relations "${relation}")
endforeach()
list(JOIN packages ",\n" packages)
list(JOIN relations ",\n" relations)
# The document's name space is one for each content.
string(UUID uuid NAMESPACE 6ba7b811-9dad-11d1-80b4-00c04fd430c8 NAME "${packages}" TYPE SHA1)
set(ENV{SOURCE_DATE_EPOCH} ${epoch})
string(TIMESTAMP created "%Y-%m-%dT%H:%M:%SZ" UTC)
file(WRITE ${output} "{
  \"spdxVersion\": \"SPDX-2.3\",
  \"dataLicense\": \"CC0-1.0\",
  \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"${package}-${version}\",
  \"documentNamespace\": \"https://nvmepcissd.example/spdx/${package}-${version}-${uuid}\",
  \"creationInfo\": { \"created\": \"${created}\", \"creators\": [ \"Organization: NVMe PCIe SSD component maintainers\" ] },
  \"packages\": [
${packages}
  ],
  \"relationships\": [
${relations}
  ]
}
")
