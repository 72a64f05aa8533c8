#!/usr/bin/env bash
echo "the demo arrives with the tool"
