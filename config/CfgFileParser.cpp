#include "CfgFileParser.h"
Vireo::CfgFileParser::CfgFileParser(std::string) {}
