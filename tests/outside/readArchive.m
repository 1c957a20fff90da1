// SPDX-License-Identifier: Apache-2.0
// Reads a keyed archive with GNUstep and prints the dictionary in it: readArchive FILE
#import <Foundation/Foundation.h>

#include <stdio.h>

int main(int count, char** arguments)
{
    NSAutoreleasePool* pool = [NSAutoreleasePool new];
    if (count != 2)
        return 2;
    NSDictionary* read = [NSKeyedUnarchiver unarchiveObjectWithFile:[NSString stringWithUTF8String:arguments[1]]];
    for (NSString* key in [[read allKeys] sortedArrayUsingSelector:@selector(compare:)]) {
        id value = [read objectForKey:key];
        if ([value isKindOfClass:[NSDate class]])
            printf("%s: date %.2f\n", [key UTF8String], [value timeIntervalSinceReferenceDate]);
        else if ([value isKindOfClass:[NSArray class]])
            printf("%s: %s\n", [key UTF8String], [[value componentsJoinedByString:@", "] UTF8String]);
        else if ([value isKindOfClass:[NSData class]])
            printf("%s: %lu bytes\n", [key UTF8String], (unsigned long)[value length]);
        else
            printf("%s: %s\n", [key UTF8String], [[value description] UTF8String]);
    }
    [pool release];
    return read ? 0 : 1;
}
