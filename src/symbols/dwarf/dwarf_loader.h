#pragma once

class ktElfFile;
struct ktLoadRequest;

/// Fills the request's module from the debugging information of an ELF file, on the request's task pool where
/// it has one. True only if every unit could be read and the section ended there; what could be read is added
/// either way. Units without code are left out.
bool LoadDwarf(ktLoadRequest &request, ktElfFile &elf);
